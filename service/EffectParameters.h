// Which effect, and its parameters.
#pragma once

#include <cstdint>

namespace tessera {

struct EffectParameters {
    int32_t effect = -1;      // -1 none, 0 to 18
    int32_t group0[4] = {};   // from "GE-param0"
    int32_t group1[4] = {};   // from "GE-param1", in display coordinates
    int32_t group0Dirty = 0;  // to be applied at the next frame
    int32_t group1Dirty = 0;

    void Reset() { *this = EffectParameters(); }
};

}  // namespace tessera
