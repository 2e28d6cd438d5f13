#include "apps/common/TrialFrame.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include "apps/common/EffectParameters.h"

namespace posteffect {

bool PassesTrialFrame(ServiceSession* session, const EffectInfo& effect) {
    constexpr int kSide = 64;  // pixels
    std::array<std::uint8_t, std::size_t{kSide} * kSide / 2 * 3> frame{};
    const android::String8 parameters(FlattenParameters(effect, DefaultValues(effect)).c_str());
    session->run([&](IPostEffect& s) { return s.setParameters(parameters); });
    session->run([](IPostEffect& s) { return s.startPreview(kSide, kSide); });
    return session->run([&](IPostEffect& s) { return s.handlePreview(-1, frame.data(), 0); }) ==
           kPostEffectOk;
}

TrialResult TryEffect(const EffectInfo& effect) {
    ServiceSession session;
    session.run([](IPostEffect& s) { return s.start(); });
    // The vignette reads no files: it works wherever the GPU does.
    if (!PassesTrialFrame(&session, kEffects[kEffectVignette])) return TrialResult::kNoGpu;
    return PassesTrialFrame(&session, effect) ? TrialResult::kWorks : TrialResult::kNoLookUpFiles;
}

}  // namespace posteffect
