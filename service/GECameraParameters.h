// The camera parameters that select the effect and its parameters.
#pragma once

#include <camera/CameraParameters.h>
#include <posteffect/Export.h>

namespace android {

// Thread: one at a time.
class POSTEFFECT_API GECameraParameters : public CameraParameters {
  public:
    using CameraParameters::CameraParameters;

    static const char KEY_GPU_EFFECT[];
    static const char KEY_GPU_EFFECT_PARAM_0[];
    static const char KEY_GPU_EFFECT_PARAM_1[];
    static const char KEY_GPU_EFFECT_PARAM_2[];
    static const char KEY_GPU_EFFECT_PARAM_3[];

    // The effect number by the first character of the value; -1 for a character that is no
    // effect's. False, with -1, when the key is absent.
    bool getGPUEffect(int* pnEffectNo);
    // The four numbers "a,b,c,d" of parameter group nIdx, 0 to 3. Null outputs are passed over.
    // False, with nothing stored, when the key is absent or a comma is missing.
    bool getGPUEffectParam(int nIdx, int* a, int* b, int* c, int* d);
    // Does nothing: effects are selected through the keys alone.
    void setGPUEffect(int effect);
};

}  // namespace android
