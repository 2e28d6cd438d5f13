// The settings of the effects that a gallery shows.
#pragma once

#include <posteffect/EffectCatalog.h>

#include <string>
#include <vector>

#include "apps/common/EffectParameters.h"

namespace posteffect {

struct GalleryVariant {
    const EffectInfo* effect = nullptr;
    OptionValues values;    // one for each option of the effect
    std::string arguments;  // "--effect vintage --look cold"
    std::string setting;    // "cold"; empty where the effect is shown once
};

// Every effect at least once: each choice of an option, some values of a number that matters.
std::vector<GalleryVariant> GalleryVariants();

}  // namespace posteffect
