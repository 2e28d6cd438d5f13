// What the GPU ought to draw, computed on the CPU in double precision with the roundings of its
// 8-bit targets.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/CaptureImage.h"

namespace testing_support {

using Rgb = std::array<double, 3>;  // 0..1

// An effect that is a function of the pixel and its place (fractions of width and height).
using PixelEffect = std::function<Rgb(const Rgb& color, double s, double t)>;

Rgb ToRgb(double y, double v, double u);
inline Rgb ToRgb(const Rgb& yvu) {
    return ToRgb(yvu[0], yvu[1], yvu[2]);
}

// A texture of 8-bit (Y, V, U) texels, sampled linearly.
class TextureModel {
  public:
    enum Wrap { kClamp, kRepeat };
    using Texel = std::array<double, 3>;  // 0..1

    explicit TextureModel(const CaptureImage& image);
    TextureModel(int width, int height, std::vector<Texel> texels);
    // The picture's chroma at its own size.
    static TextureModel ChromaPlane(const CaptureImage& image);
    // A look-up file's pixels as they are stored: 8 bits (thrice the same), 5-6-5, or 24.
    static TextureModel LookUpFile(const std::string& path);

    int width() const { return m_width; }
    int height() const { return m_height; }
    Texel At(double s, double t, Wrap wrap = kClamp) const;

  private:
    int m_width;
    int m_height;
    std::vector<Texel> m_texels;
};

// The picture through the effect and back to YUV 4:2:0. Even sizes.
CaptureImage ApplyModel(const CaptureImage& image, const PixelEffect& effect);

// The vignette's light falling off round a centre (fractions from the picture's middle).
PixelEffect VignetteModel(double centerX, double centerY, double radius, double softness,
                          double aspect);

struct Difference {
    int lumaMax = 0;
    int chromaMax = 0;
    double lumaMeanSigned = 0.0;
    std::string where;  // of the largest luma difference
};

// How many of the samples lie more than three levels apart, 0..1.
double ShareApart(const CaptureImage& actual, const CaptureImage& expected);

Difference Compare(const CaptureImage& actual, const CaptureImage& expected);

// No sample is further apart.
void ExpectWithin(int most, const CaptureImage& actual, const CaptureImage& expected);
// Three levels on nearly all samples; curves and gains stretch the roundings of the few others.
void ExpectAgrees(const CaptureImage& actual, const CaptureImage& expected);

}  // namespace testing_support
