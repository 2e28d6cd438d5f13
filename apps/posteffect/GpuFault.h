// Why the library refused, in words for people.
#pragma once

#include <posteffect/EffectCatalog.h>

#include <optional>
#include <string>

#include "apps/posteffect/Failure.h"

namespace posteffect {

// What keeps the effect from working at all on this machine: no GPU, no look-up files. None when a
// small frame goes through. `name` stands for the file in messages.
std::optional<Failure> FindGpuFault(const std::string& name, const EffectInfo& effect);

// The failure of a frame of this size: one of the above, or its size.
Failure FrameFailure(const std::string& name, const EffectInfo& effect, int width, int height);

}  // namespace posteffect
