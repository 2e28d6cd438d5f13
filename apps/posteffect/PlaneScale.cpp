#include "apps/posteffect/PlaneScale.h"

#include <libyuv/scale.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace posteffect {
namespace {

// The scaler counts in 16.16 fixed point, so larger planes are handed over in tiles.
constexpr int kTileSide = 8192;

}  // namespace

void ReplicateEdges(Plane* plane, Size filled) {
    const auto extra = static_cast<std::size_t>(plane->width - filled.width);
    for (int y = 0; y < filled.height; ++y) {
        std::uint8_t* end = plane->row(y) + filled.width;
        std::memset(end, end[-1], extra);
    }
    for (int y = filled.height; y < plane->height; ++y) {
        std::memcpy(plane->row(y), plane->row(y - 1), static_cast<std::size_t>(plane->width));
    }
}

Plane ScalePlane(const Plane& source, Ratio horizontal, Ratio vertical) {
    const int columns = source.width / horizontal.from;
    const int rows = source.height / vertical.from;
    Plane result(columns * horizontal.to, rows * vertical.to);
    const int stepX = kTileSide / std::max(horizontal.from, horizontal.to);
    const int stepY = kTileSide / std::max(vertical.from, vertical.to);
    for (int y = 0; y < rows; y += stepY) {
        const int h = std::min(stepY, rows - y);
        for (int x = 0; x < columns; x += stepX) {
            const int w = std::min(stepX, columns - x);
            const int fromX = x * horizontal.from;
            const int toX = x * horizontal.to;
            libyuv::ScalePlane(source.row(y * vertical.from) + fromX, source.stride,
                               w * horizontal.from, h * vertical.from,
                               result.row(y * vertical.to) + toX, result.stride, w * horizontal.to,
                               h * vertical.to, libyuv::kFilterBox);
        }
    }
    return result;
}

Plane ShrinkPlane(const Plane& source, Size size) {
    if (source.width > kTileSide || source.height > kTileSide) {
        const Ratio horizontal{source.width > kTileSide ? 8 : 1, 1};
        const Ratio vertical{source.height > kTileSide ? 8 : 1, 1};
        return ShrinkPlane(ScalePlane(source, horizontal, vertical), size);
    }
    Plane result(size.width, size.height);
    libyuv::ScalePlane(source.row(0), source.stride, source.width, source.height, result.row(0),
                       result.stride, result.width, result.height, libyuv::kFilterBox);
    return result;
}

YuvPicture ShrinkPicture(const YuvPicture& picture, int longerSide) {
    const Size size = picture.size();
    const int longer = std::max({size.width, size.height, longerSide});
    const auto scaled = [longer, longerSide](int side) {
        return std::max(1, static_cast<int>(std::int64_t{side} * longerSide / longer));
    };
    const Size small = {scaled(size.width), scaled(size.height)};
    const Size smallChroma = {(small.width + 1) / 2, (small.height + 1) / 2};
    return {ShrinkPlane(picture.y, small), ShrinkPlane(picture.u, smallChroma),
            ShrinkPlane(picture.v, smallChroma)};
}

}  // namespace posteffect
