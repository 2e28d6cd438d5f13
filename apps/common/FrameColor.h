// The colours of video frames, and their way to and from the library's: full-range BT.601.
#pragma once

#include <cstdint>

#include "apps/common/FrameColorRows.h"

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

// What video of this height has when nothing is said: that of high definition above 576 rows.
constexpr ColorMatrix UsualMatrix(int height) {
    constexpr int kTallestOfStandardDefinition = 576;
    return height > kTallestOfStandardDefinition ? ColorMatrix::kBt709 : ColorMatrix::kBt601;
}

// From one kind of YUV to another, sample by sample, in 16.16 fixed point. Both have their chroma
// at half the size, so a luma sample takes the pair that covers it.
class ColorConversion {
  public:
    ColorConversion(const FrameColor& from, const FrameColor& to);

    // Whether nothing changes.
    bool isIdentity() const { return m_identity; }

    // `width` luma samples of a row whose chroma pairs lie `step` bytes apart.
    void luma(std::uint8_t* to, const std::uint8_t* from, const std::uint8_t* u,
              const std::uint8_t* v, int step, int width) const;
    // `count` pairs.
    void chroma(std::uint8_t* toU, std::uint8_t* toV, int toStep, const std::uint8_t* fromU,
                const std::uint8_t* fromV, int fromStep, int count) const;

  private:
    bool m_identity;
    ColorSum m_y{};
    ColorSum m_u{};
    ColorSum m_v{};
};

}  // namespace posteffect
