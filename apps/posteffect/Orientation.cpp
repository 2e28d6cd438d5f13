#include "apps/posteffect/Orientation.h"

#include <libyuv/planar_functions.h>
#include <libyuv/rotate.h>

#include <utility>

#include "apps/posteffect/PlaneScale.h"

namespace posteffect {
namespace {

// First mirrored left to right where said, then turned clockwise. The last two say at which ends of
// the stored picture's axes the upright picture begins.
struct Turn {
    bool mirror;
    libyuv::RotationMode rotation;
    bool fromRight;
    bool fromBottom;
};

constexpr Turn kTurns[] = {
    {false, libyuv::kRotate0, false, false},   // 1
    {true, libyuv::kRotate0, true, false},     // 2
    {false, libyuv::kRotate180, true, true},   // 3
    {true, libyuv::kRotate180, false, true},   // 4
    {true, libyuv::kRotate270, false, false},  // 5
    {false, libyuv::kRotate90, false, true},   // 6
    {true, libyuv::kRotate90, true, true},     // 7
    {false, libyuv::kRotate270, true, false},  // 8
};

Plane Turned(Plane source, const Turn& turn) {
    if (turn.mirror) {
        Plane mirrored(source.width, source.height);
        libyuv::MirrorPlane(source.row(0), source.stride, mirrored.row(0), mirrored.stride,
                            source.width, source.height);
        source = std::move(mirrored);
    }
    if (turn.rotation == libyuv::kRotate0) return source;
    const bool half = turn.rotation == libyuv::kRotate180;
    Plane turned(half ? source.width : source.height, half ? source.height : source.width);
    libyuv::RotatePlane(source.row(0), source.stride, turned.row(0), turned.stride, source.width,
                        source.height, turn.rotation);
    return turned;
}

// One sample for each pixel.
Plane Doubled(const Plane& chroma, Size size) {
    Plane full(size.width, size.height);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) full.row(y)[x] = chroma.row(y / 2)[x / 2];
    }
    return full;
}

Plane Halved(const Plane& full) {
    Plane even(RoundUp(full.width, 2), RoundUp(full.height, 2));
    libyuv::CopyPlane(full.row(0), full.stride, even.row(0), even.stride, full.width, full.height);
    ReplicateEdges(&even, {full.width, full.height});
    return ScalePlane(even, {2, 1}, {2, 1});
}

}  // namespace

Plane TurnedUpright(const Plane& plane, int orientation) {
    if (orientation < 2 || orientation > 8) return plane;
    return Turned(plane, kTurns[orientation - 1]);
}

void TurnUpright(YuvPicture* picture, int orientation) {
    if (orientation < 2 || orientation > 8) return;
    const Turn& turn = kTurns[orientation - 1];
    const Size size = picture->size();
    // A picture of odd size that begins at its far end pairs its pixels differently afterwards, so
    // its chroma is turned pixel by pixel.
    const bool regroup =
        (turn.fromRight && size.width % 2 != 0) || (turn.fromBottom && size.height % 2 != 0);
    for (Plane* chroma : {&picture->u, &picture->v}) {
        *chroma = regroup ? Halved(Turned(Doubled(*chroma, size), turn))
                          : Turned(std::move(*chroma), turn);
    }
    picture->y = Turned(std::move(picture->y), turn);
}

}  // namespace posteffect
