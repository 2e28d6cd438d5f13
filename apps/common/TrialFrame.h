// Whether an effect works on this machine at all: a frame that no GPU finds too large tells.
#pragma once

#include <posteffect/EffectCatalog.h>

#include "apps/common/ServiceSession.h"

namespace posteffect {

enum class TrialResult { kWorks, kNoGpu, kNoLookUpFiles };

// Whether a small preview frame goes through. `session` must have been started; it is left with
// the effect's default values set.
bool PassesTrialFrame(ServiceSession* session, const EffectInfo& effect);

// The same in a service of its own, and what is missing.
TrialResult TryEffect(const EffectInfo& effect);

}  // namespace posteffect
