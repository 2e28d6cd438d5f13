// What the GPU ought to draw, computed on the CPU in double precision with the roundings of its
// 8-bit targets.
#pragma once

#include <array>
#include <functional>
#include <string>

#include "tests/support/CaptureImage.h"

namespace testing_support {

using Rgb = std::array<double, 3>;  // 0..1

// An effect that is a function of the pixel and its place (fractions of width and height).
using PixelEffect = std::function<Rgb(const Rgb& color, double s, double t)>;

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

Difference Compare(const CaptureImage& actual, const CaptureImage& expected);

}  // namespace testing_support
