// PNG files of every kind for tests.
#pragma once

#include <array>
#include <functional>

#include "tests/support/JpegFile.h"

using Rgba = std::array<int, 4>;

struct PngRecipe {
    int width = 21;
    int height = 14;
    // "rgb", "rgba", "gray", "gray-alpha" or "palette", whose entries are the grey levels and have
    // an alpha each.
    std::string colors = "rgba";
    int depth = 8;  // bits a channel
    bool interlaced = false;
};

// `pixel` gives colour and alpha at (x, y); greys and palettes use red and alpha.
Bytes MakePng(const PngRecipe& recipe, const std::function<Rgba(int x, int y)>& pixel);

struct RgbaPicture {
    int width = 0;
    int height = 0;
    Bytes bytes;

    Rgba at(int x, int y) const;
};

// By libpng's simple road, independent of the command's. Width 0 when the file is no PNG.
RgbaPicture DecodePngFile(const Bytes& file);

// The largest difference of a channel between the picture and `pixel`; 256 without a picture.
int LargestDifference(const RgbaPicture& picture, const std::function<Rgba(int x, int y)>& pixel);
