// In which blocks a photo goes through the GPU.
#pragma once

#include <posteffect/EffectCatalog.h>

#include "apps/posteffect/Geometry.h"

namespace posteffect {

// The block size for a picture of this size (at least 1 x 1) and an effect's wish: a multiple of 32
// wide, even height. `portrait` counts for folds.
Size ChooseBlockSize(Size picture, StillBlocks wish, bool portrait = false);

}  // namespace posteffect
