// Sizes in pixels, and parts of pictures.
#pragma once

#include <string>

namespace posteffect {

struct Size {
    int width = 0;
    int height = 0;
};

inline std::string SizeText(Size size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

// A part of a picture, as fractions of its width and height.
struct Part {
    double x = 0.0;
    double y = 0.0;
    double width = 1.0;
    double height = 1.0;
};

constexpr int RoundUp(int value, int unit) {
    return (value + unit - 1) / unit * unit;
}

}  // namespace posteffect
