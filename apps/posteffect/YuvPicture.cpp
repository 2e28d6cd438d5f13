#include "apps/posteffect/YuvPicture.h"

#include <libyuv/planar_functions.h>

#include <cstring>

namespace posteffect {

SemiPlanarFrame ToSemiPlanar(const YuvPicture& picture) {
    const Plane& luma = picture.y;
    SemiPlanarFrame frame;
    frame.size = {RoundUp(luma.width, 2), RoundUp(luma.height, 2)};
    frame.bytes.resize(frame.lumaBytes() / 2 * 3);

    const auto width = static_cast<std::size_t>(frame.size.width);
    std::uint8_t* out = frame.bytes.data();
    for (int y = 0; y < frame.size.height; ++y, out += width) {
        if (y == luma.height) {
            std::memcpy(out, out - width, width);
            continue;
        }
        std::memcpy(out, luma.row(y), static_cast<std::size_t>(luma.width));
        if (luma.width < frame.size.width) out[luma.width] = out[luma.width - 1];
    }
    libyuv::MergeUVPlane(picture.v.row(0), picture.v.stride, picture.u.row(0), picture.u.stride,
                         out, frame.size.width, picture.u.width, picture.u.height);
    return frame;
}

void FromSemiPlanar(const SemiPlanarFrame& frame, YuvPicture* picture) {
    Plane& luma = picture->y;
    libyuv::CopyPlane(frame.bytes.data(), frame.size.width, luma.row(0), luma.stride, luma.width,
                      luma.height);
    libyuv::SplitUVPlane(frame.bytes.data() + frame.lumaBytes(), frame.size.width,
                         picture->v.row(0), picture->v.stride, picture->u.row(0), picture->u.stride,
                         picture->u.width, picture->u.height);
}

}  // namespace posteffect
