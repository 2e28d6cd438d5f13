// Turns a picture upright.
#pragma once

#include "apps/posteffect/YuvPicture.h"

namespace posteffect {

// `orientation` as EXIF counts it, 1 to 8: which side of the stored picture is up. 1 and anything
// else leave the picture as it is.
void TurnUpright(YuvPicture* picture, int orientation);

// The same for one full-size plane.
Plane TurnedUpright(const Plane& plane, int orientation);

// Whether upright and stored picture have width and height exchanged.
constexpr bool SwapsSides(int orientation) {
    return orientation >= 5 && orientation <= 8;
}

}  // namespace posteffect
