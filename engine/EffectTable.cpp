#include "engine/EffectTable.h"

#include <posteffect/EffectCatalog.h>

#include "effects/Bloom.h"
#include "effects/Contrast.h"
#include "effects/DepthOfField.h"
#include "effects/Dots.h"
#include "effects/Fisheye.h"
#include "effects/Mirror.h"
#include "effects/Sketch.h"
#include "effects/SplitToning.h"
#include "effects/Stylize.h"
#include "effects/TiltShift.h"
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
    Make<GEShaderDoF>,            // 2
    Make<GEShaderFisheye>,        // 3
    Make<GEShaderVignette>,       // 4
    Make<GEShaderDot>,            // 5
    Make<GEShaderContrast>,       // 6
    Make<GEShaderTS>,             // 7
    Make<GEShaderMirror>,         // 8
    Make<GEShaderBloom>,          // 9
    Make<GEShaderWhiteboard>,     // 10
    Make<GEShaderStylizeMaple>,   // 11
    Make<GEShaderStylizeNash>,    // 12
    Make<GEShaderTwoToneMaskV>,   // 13
    Make<GEShaderTwoToneMaskH>,   // 14
    Make<GEShaderSplitToningCM>,  // 15
    Make<GEShaderSplitToningSC>,  // 16
    Make<GEShaderSketch>,         // 17
    Make<GEShaderColorSketch>,    // 18
};
static_assert(std::size(kConstructors) == posteffect::kEffectCount);

}  // namespace

GEShader* CreateEffect(unsigned int number) {
    if (number >= std::size(kConstructors) || kConstructors[number] == nullptr) return nullptr;
    return kConstructors[number]();
}
