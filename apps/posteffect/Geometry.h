// Sizes in pixels, and parts of pictures.
#pragma once

namespace posteffect {

struct Size {
    int width = 0;
    int height = 0;
};

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
