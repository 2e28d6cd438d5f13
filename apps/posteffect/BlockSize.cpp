#include "apps/posteffect/BlockSize.h"

#include <algorithm>
#include <cstdint>

namespace posteffect {
namespace {

constexpr int kWidthUnit = 32;        // rows of the library's graphics buffers come in this unit
constexpr int kUsualWidth = 1024;     // few blocks, and small enough for any GPU
constexpr int kMaximumHeight = 2048;  // what every GPU of the last ten years can render to

}  // namespace

Size ChooseBlockSize(Size picture) {
    Size block;
    block.width = std::min(kUsualWidth, RoundUp(picture.width, kWidthUnit));
    const std::int64_t height =
        (std::int64_t{block.width} * picture.height + picture.width / 2) / picture.width;
    const std::int64_t needed = RoundUp(picture.height, 2);
    block.height = static_cast<int>(std::clamp<std::int64_t>(
        (height + 1) / 2 * 2, 2, std::min<std::int64_t>(needed, kMaximumHeight)));
    return block;
}

}  // namespace posteffect
