// JPEG files for tests, made and read by libjpeg's usual RGB road, independent of the command's.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/Pixels.h"

inline constexpr int kApp0 = 0xE0;
inline constexpr int kComment = 0xFE;

// A marker segment: kApp0 + n or kComment, and what follows its length.
struct Segment {
    int marker = 0;
    Bytes bytes;

    bool operator==(const Segment& other) const {
        return marker == other.marker && bytes == other.bytes;
    }
};

struct JpegRecipe {
    int width = 48;
    int height = 32;
    // "ycc", "gray", "rgb" or "cmyk".
    std::string colors = "ycc";
    // Horizontal and vertical sampling factors of the components.
    std::array<std::array<int, 2>, 3> sampling = {{{2, 2}, {1, 1}, {1, 1}}};
    bool progressive = false;
    bool arithmetic = false;
    bool jfif = true;
    int quality = 98;
    std::vector<Segment> segments;
};

inline JpegRecipe Sized(int width, int height, int quality = 98) {
    JpegRecipe recipe;
    recipe.width = width;
    recipe.height = height;
    recipe.quality = quality;
    return recipe;
}

// `pixel` gives the colour at (x, y).
Bytes MakeJpeg(const JpegRecipe& recipe, const std::function<Rgb(int x, int y)>& pixel);

// Width 0 when the file is no complete JPEG.
RgbPicture DecodeRgb(const Bytes& file);

// The segments before the first scan, APPn and comments only.
std::vector<Segment> ListSegments(const Bytes& file);
