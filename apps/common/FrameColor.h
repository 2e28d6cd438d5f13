// The colours of video frames, and their way to and from the library's: full-range BT.601.
#pragma once

#include <cstdint>

namespace posteffect {

enum class ColorRange { kFull, kLimited };
enum class ColorMatrix { kBt601, kBt709, kBt2020 };

struct FrameColor {
    ColorRange range = ColorRange::kLimited;
    ColorMatrix matrix = ColorMatrix::kBt601;

    bool operator==(const FrameColor& other) const {
        return range == other.range && matrix == other.matrix;
    }
};

}  // namespace posteffect
