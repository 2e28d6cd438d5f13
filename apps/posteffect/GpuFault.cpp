#include "apps/posteffect/GpuFault.h"

#include "apps/common/TrialFrame.h"

namespace posteffect {
std::optional<Failure> FindGpuFault(const std::string& name, const EffectInfo& effect) {
    switch (TryEffect(effect)) {
        case TrialResult::kNoGpu:
            return Failure(kExitNoGpu, name,
                           "the GPU cannot be used: install its driver (apt-get install libegl1 "
                           "libegl-mesa0 libgl1-mesa-dri libgles2)");
        case TrialResult::kNoLookUpFiles:
            return Failure(kExitSomeFailed, name,
                           std::string("the look-up files of effect ") + effect.nick +
                               " are missing: install them again (share/posteffect)");
        case TrialResult::kWorks:
            break;
    }
    return std::nullopt;
}

Failure FrameFailure(const std::string& name, const EffectInfo& effect, int width, int height) {
    if (const auto fault = FindGpuFault(name, effect)) return *fault;
    return {kExitSomeFailed, name,
            "frames of " + std::to_string(width) + "x" + std::to_string(height) +
                " are more than the GPU or the memory takes: make them smaller"};
}

}  // namespace posteffect
