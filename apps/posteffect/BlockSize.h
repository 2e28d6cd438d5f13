// In which blocks a photo goes through the renderer.
#pragma once

#include <posteffect/EffectCatalog.h>
#include <posteffect/Renderer.h>

#include "apps/posteffect/Geometry.h"

namespace posteffect {

// The block size for a picture of this size (at least 1 x 1) and an effect: a multiple of 32 wide,
// even height. A GPU gets few blocks, a CPU that renders some that stay in its cache. `portrait`
// counts for folds.
Size ChooseBlockSize(Size picture, const EffectInfo& effect, const PostEffectRenderer& renderer,
                     bool portrait = false);

}  // namespace posteffect
