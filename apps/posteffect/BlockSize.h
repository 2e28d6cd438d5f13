// In which blocks a photo goes through the GPU.
#pragma once

#include "apps/posteffect/Geometry.h"

namespace posteffect {

// The block size for a picture of this size (at least 1 x 1): a multiple of 32 wide, even height,
// about the picture's aspect, no larger than the picture needs.
Size ChooseBlockSize(Size picture);

}  // namespace posteffect
