#include "apps/posteffect/BlockSize.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace posteffect {
namespace {

constexpr int kWidthUnit = 32;        // rows of the library's graphics buffers come in this unit
constexpr int kMaximumHeight = 2048;  // what every GPU can render to
constexpr int kMaximumSide = 16384;   // what the largest can

// Of a block, about. It takes 14 bytes a pixel: the source, its texture, the result and its planes.
constexpr std::int64_t kGpuPixels = 1 << 20;     // few blocks, and small enough for any GPU
constexpr std::int64_t kCachePixels = 3 << 16;   // what a CPU draws stays in its cache
constexpr std::int64_t kPointsPixels = 1 << 19;  // points are in pixels of a block: as fine as they
constexpr std::int64_t kWholePixels = 16 << 20;  // of a picture that is taken as one block
constexpr std::int64_t kStripPixels = 4 << 20;   // of its strips otherwise
constexpr std::int64_t kBlurPixels = 4 << 20;    // 56 MiB

constexpr int kLeastBlurWidth = 960;           // below it blurs would grow with the block
constexpr int kBlurMargins = 128;              // what blurs take of a block, at most
constexpr int kLeastBlurHeight = 160;          // more than that, of pictures that are all width
constexpr int kBlocksBlurSpans = 3;            // a blur reaches over the margin of smaller blocks,
constexpr double kLeastBlurPart = 9.0 / 32.0;  // down to this by no more than its outermost step

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

std::int64_t Pixels(Size size) {
    return std::int64_t{size.width} * size.height;
}

// In the picture's aspect, because vignette masks are chosen by the block's, and as many along the
// one side as along the other.
Size AspectBlock(Size picture, std::int64_t pixels) {
    const double parts =
        std::ceil(std::sqrt(static_cast<double>(Pixels(picture)) / static_cast<double>(pixels)));
    const int part = static_cast<int>(std::ceil(picture.width / parts));
    const int width = std::min(RoundUp(part, kWidthUnit), kMaximumHeight);
    return {width,
            std::min({HeightFor(width, picture), RoundUp(picture.height, 2), kMaximumHeight})};
}

Size BlurBlock(Size picture) {
    const auto ofWidth = [picture](int part) {
        const int width =
            std::min(RoundUp(std::max(kLeastBlurWidth, part), kWidthUnit), kMaximumSide);
        return Size{width, std::max(kLeastBlurHeight, HeightFor(width, picture))};
    };
    const Size third =
        ofWidth((picture.width + kBlocksBlurSpans - 1) / kBlocksBlurSpans + kBlurMargins);
    if (Pixels(third) <= kBlurPixels) return third;
    return ofWidth(static_cast<int>(std::ceil(kLeastBlurPart * picture.width)));
}

bool PlacesPoints(const EffectInfo& effect) {
    return std::any_of(effect.options.begin(), effect.options.end(), IsPoint);
}

}  // namespace

Size ChooseBlockSize(Size picture, const EffectInfo& effect, const PostEffectRenderer& renderer,
                     bool portrait) {
    const std::int64_t cached = PlacesPoints(effect) ? kPointsPixels : kCachePixels;
    const std::int64_t pixels = renderer.isSoftware != 0 ? cached : kGpuPixels;
    switch (effect.stillBlocks) {
        case StillBlocks::kAny:
            break;
        case StillBlocks::kThird:
            return BlurBlock(picture);
        case StillBlocks::kWhole: {
            const auto strips = Pixels(picture) <= kWholePixels
                                    ? 1
                                    : (Pixels(picture) + kStripPixels - 1) / kStripPixels;
            const Size strip = {RoundUp(picture.width, kWidthUnit),
                                EvenPart(picture.height, static_cast<int>(strips))};
            if (std::max(strip.width, strip.height) <= kMaximumSide) return strip;
            break;
        }
        case StillBlocks::kFold: {
            const auto along = [pixels](int side) {
                return static_cast<int>(std::min<std::int64_t>(pixels / side, kMaximumSide));
            };
            const Size strip = {
                RoundUp(picture.width, kWidthUnit),
                std::clamp(along(picture.width) / 2 * 2, 2, RoundUp(picture.height, 2))};
            if (!portrait && strip.width <= kMaximumSide) return strip;
            const Size column = {std::clamp(along(picture.height) / kWidthUnit * kWidthUnit,
                                            kWidthUnit, RoundUp(picture.width, kWidthUnit)),
                                 RoundUp(picture.height, 2)};
            if (portrait && column.height <= kMaximumSide) return column;
            break;
        }
    }
    return AspectBlock(picture, pixels);
}

}  // namespace posteffect
