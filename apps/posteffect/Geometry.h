// Sizes and rectangles in pixels.
#pragma once

namespace posteffect {

struct Size {
    int width = 0;
    int height = 0;
};

struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

constexpr int RoundUp(int value, int unit) {
    return (value + unit - 1) / unit * unit;
}

}  // namespace posteffect
