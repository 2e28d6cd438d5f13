#include "apps/posteffect/BlockSize.h"

#include <algorithm>
#include <cstdint>

namespace posteffect {
namespace {

constexpr int kWidthUnit = 32;        // rows of the library's graphics buffers come in this unit
constexpr int kUsualWidth = 1024;     // few blocks, and small enough for any GPU
constexpr int kMaximumHeight = 2048;  // what every GPU can render to
constexpr std::int64_t kUsualPixels = 1 << 20;
constexpr std::int64_t kWholePixels = 16 << 20;  // of a picture that is taken as one block
constexpr std::int64_t kStripPixels = 4 << 20;   // of its strips otherwise
constexpr int kMaximumSide = 16384;              // what the largest can
constexpr int kLeastBlurWidth = 960;             // below it blurs would grow with the block
constexpr int kBlurMargins = 128;                // what blurs take of a block, at most
constexpr int kLeastBlurHeight = 160;            // more than that, of pictures that are all width
constexpr int kBlocksBlurSpans = 3;              // a blur reaches over the margin of smaller blocks

// Of the width, in the picture's aspect; even.
int HeightFor(int width, Size picture) {
    const std::int64_t height =
        (std::int64_t{width} * picture.height + picture.width / 2) / picture.width;
    return static_cast<int>(std::clamp<std::int64_t>((height + 1) / 2 * 2, 2, kMaximumSide));
}

// A side in so many parts of about the same even length; that of all but the last.
int EvenPart(int side, int parts) {
    return RoundUp((side + parts - 1) / parts, 2);
}

Size UsualBlock(Size picture) {
    const int width = std::min(kUsualWidth, RoundUp(picture.width, kWidthUnit));
    return {width,
            std::min({HeightFor(width, picture), RoundUp(picture.height, 2), kMaximumHeight})};
}

}  // namespace

Size ChooseBlockSize(Size picture, StillBlocks wish, bool portrait) {
    switch (wish) {
        case StillBlocks::kAny:
            break;
        case StillBlocks::kThird: {
            const int third = (picture.width + kBlocksBlurSpans - 1) / kBlocksBlurSpans;
            const int width = RoundUp(std::max(kLeastBlurWidth, third + kBlurMargins), kWidthUnit);
            const int possible = std::min(width, kMaximumSide);
            return {possible, std::max(kLeastBlurHeight, HeightFor(possible, picture))};
        }
        case StillBlocks::kWhole: {
            const std::int64_t pixels = std::int64_t{picture.width} * picture.height;
            const auto strips =
                pixels <= kWholePixels ? 1 : (pixels + kStripPixels - 1) / kStripPixels;
            const Size strip = {RoundUp(picture.width, kWidthUnit),
                                EvenPart(picture.height, static_cast<int>(strips))};
            if (std::max(strip.width, strip.height) <= kMaximumSide) return strip;
            break;
        }
        case StillBlocks::kFold: {
            const int rows =
                std::min(static_cast<int>(kUsualPixels / picture.width) / 2 * 2, kMaximumSide);
            const Size strip = {RoundUp(picture.width, kWidthUnit),
                                std::clamp(rows, 2, RoundUp(picture.height, 2))};
            if (!portrait && strip.width <= kMaximumSide) return strip;
            const int columns =
                std::min(static_cast<int>(kUsualPixels / picture.height), kMaximumSide);
            const Size column = {std::clamp(columns / kWidthUnit * kWidthUnit, kWidthUnit,
                                            RoundUp(picture.width, kWidthUnit)),
                                 RoundUp(picture.height, 2)};
            if (portrait && column.height <= kMaximumSide) return column;
            break;
        }
    }
    return UsualBlock(picture);
}

}  // namespace posteffect
