// PNG files of every kind for tests.
#pragma once

#include <functional>
#include <string>

#include "tests/support/Pixels.h"

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

// By libpng's simple road, independent of the command's. Width 0 when the file is no PNG.
RgbaPicture DecodePngFile(const Bytes& file);
