#include "apps/posteffect/YuvPicture.h"

#include <libyuv/planar_functions.h>

#include <cstring>

namespace posteffect {

namespace {

// Repeats the `unit` bytes at both ends of what lies from `left` for `length` bytes over the rest
// of a row of `width` bytes.
void PadRow(std::uint8_t* row, std::size_t left, std::size_t length, std::size_t width,
            std::size_t unit) {
    for (std::size_t x = left; x > 0; x -= unit) std::memcpy(row + x - unit, row + left, unit);
    const std::uint8_t* last = row + left + length - unit;
    for (std::size_t x = left + length; x < width; x += unit) std::memcpy(row + x, last, unit);
}

// Frees what a plane holds; its size stays.
void Release(Plane* plane) {
    plane->bytes = {};
}

}  // namespace

SemiPlanarFrame TakeSemiPlanar(YuvPicture* picture, SidePadding padding) {
    Plane& luma = picture->y;
    Plane& u = picture->u;
    Plane& v = picture->v;
    SemiPlanarFrame frame;
    frame.size = {RoundUp(luma.width, 2) + padding.left + padding.right, RoundUp(luma.height, 2)};
    frame.bytes = PixelBytes(frame.lumaBytes() / 2 * 3);

    const auto width = static_cast<std::size_t>(frame.size.width);
    const auto left = static_cast<std::size_t>(padding.left);
    const auto columns = static_cast<std::size_t>(luma.width);
    std::uint8_t* out = frame.bytes.data();
    for (int y = 0; y < frame.size.height; ++y, out += width) {
        if (y == luma.height) {
            std::memcpy(out, out - width, width);
            continue;
        }
        std::memcpy(out + left, luma.row(y), columns);
        PadRow(out, left, columns, width, 1);
    }
    Release(&luma);
    libyuv::MergeUVPlane(v.row(0), v.stride, u.row(0), u.stride, out + left, frame.size.width,
                         u.width, u.height);
    Release(&u);
    Release(&v);
    for (int y = 0; y < u.height; ++y, out += width) {
        PadRow(out, left, static_cast<std::size_t>(u.width) * 2, width, 2);
    }
    return frame;
}

void FromSemiPlanar(const SemiPlanarFrame& frame, YuvPicture* picture, SidePadding padding) {
    for (Plane* plane : {&picture->y, &picture->u, &picture->v}) {
        *plane = Plane(plane->width, plane->height);
    }
    Plane& luma = picture->y;
    const std::uint8_t* first = frame.bytes.data() + padding.left;
    libyuv::CopyPlane(first, frame.size.width, luma.row(0), luma.stride, luma.width, luma.height);
    libyuv::SplitUVPlane(first + frame.lumaBytes(), frame.size.width, picture->v.row(0),
                         picture->v.stride, picture->u.row(0), picture->u.stride, picture->u.width,
                         picture->u.height);
}

}  // namespace posteffect
