// Sends a photo through the library.
#pragma once

#include <optional>
#include <string>

#include "apps/common/EffectParameters.h"
#include "apps/posteffect/Geometry.h"
#include "apps/posteffect/YuvPicture.h"

namespace posteffect {

struct PhotoFilter {
    const EffectInfo* effect = nullptr;
    OptionValues values;        // one for each option of the effect
    std::optional<Part> crop;   // of the upright picture; all of it by default
    std::optional<Size> block;  // chosen for the picture by default
};

// Filters in place. `name` stands for the file in messages. Throws Failure: wrong use where
// the block does not fit, no GPU, or a limit that was met.
void FilterPhoto(const std::string& name, const PhotoFilter& filter, YuvPicture* picture);

}  // namespace posteffect
