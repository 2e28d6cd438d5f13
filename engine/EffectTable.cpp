#include "engine/EffectTable.h"

#include <posteffect/EffectCatalog.h>

#include "effects/Bloom.h"
#include "effects/Contrast.h"
#include "effects/SplitToning.h"
#include "effects/Stylize.h"
#include "effects/TwoToneMask.h"
#include "effects/Vignette.h"
#include "effects/Vintage.h"
#include "effects/Whiteboard.h"

namespace {

using Constructor = GEShader* (*)();

template <typename Effect>
GEShader* Make() {
    return new Effect;
}

constexpr Constructor kConstructors[] = {
    nullptr,                      // 0: no effect
    Make<GEShaderVintage>,        // 1
    nullptr,                      // 2: depth of field
    nullptr,                      // 3: fisheye
    Make<GEShaderVignette>,       // 4
    nullptr,                      // 5: dots
    Make<GEShaderContrast>,       // 6
    nullptr,                      // 7: tilt-shift
    nullptr,                      // 8: mirror
    Make<GEShaderBloom>,          // 9
    Make<GEShaderWhiteboard>,     // 10
    Make<GEShaderStylizeMaple>,   // 11
    Make<GEShaderStylizeNash>,    // 12
    Make<GEShaderTwoToneMaskV>,   // 13
    Make<GEShaderTwoToneMaskH>,   // 14
    Make<GEShaderSplitToningCM>,  // 15
    Make<GEShaderSplitToningSC>,  // 16
    nullptr,                      // 17: sketch
    nullptr,                      // 18: colour sketch
};
static_assert(std::size(kConstructors) == posteffect::kEffectCount);

}  // namespace

GEShader* CreateEffect(unsigned int number) {
    if (number >= std::size(kConstructors) || kConstructors[number] == nullptr) return nullptr;
    return kConstructors[number]();
}
