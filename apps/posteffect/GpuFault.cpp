#include "apps/posteffect/GpuFault.h"

#include "apps/common/EffectParameters.h"
#include "apps/common/ServiceSession.h"
#include "apps/posteffect/YuvPicture.h"

namespace posteffect {
namespace {

// Whether the GPU can be used with this effect: a small preview frame tells.
bool Works(ServiceSession& session, const EffectInfo& effect) {
    const android::String8 parameters(FlattenParameters(effect, DefaultValues(effect)).c_str());
    session.run([&](IPostEffect& s) { return s.setParameters(parameters); });
    constexpr Size kSmall = {64, 64};
    SemiPlanarFrame frame;
    frame.size = kSmall;
    frame.bytes.resize(frame.lumaBytes() / 2 * 3);
    session.run([&](IPostEffect& s) { return s.startPreview(kSmall.width, kSmall.height); });
    return session.run([&](IPostEffect& s) {
        return s.handlePreview(-1, frame.bytes.data(), 0);
    }) == kPostEffectOk;
}

}  // namespace

std::optional<Failure> FindGpuFault(const std::string& name, const EffectInfo& effect) {
    ServiceSession session;
    session.run([](IPostEffect& s) { return s.start(); });
    // The vignette reads no files: it works wherever the GPU does.
    if (!Works(session, kEffects[kEffectVignette])) {
        return Failure(kExitNoGpu, name,
                       "the GPU cannot be used: install its driver (apt-get install libegl1 "
                       "libegl-mesa0 libgl1-mesa-dri libgles2)");
    }
    if (!Works(session, effect)) {
        return Failure(kExitSomeFailed, name,
                       std::string("the look-up files of effect ") + effect.nick +
                           " are missing: install them again (share/posteffect)");
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
