// A service with one effect at its defaults, and a frame to put through it.
#pragma once

#include <posteffect/EffectCatalog.h>

#include <cstdint>
#include <vector>

#include "apps/common/EffectParameters.h"
#include "apps/common/ServiceSession.h"
#include "apps/posteffect/Geometry.h"

namespace bench {

using posteffect::Size;

inline constexpr Size kFrameSizes[] = {{640, 480}, {1280, 720}, {1920, 1088}};

inline std::size_t LumaBytes(Size size) {
    return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
}

// Every level and no long runs of one.
inline std::vector<std::uint8_t> MakePlanes(Size size) {
    std::vector<std::uint8_t> planes(LumaBytes(size) * 3 / 2);
    std::uint32_t state = 1;
    for (std::uint8_t& byte : planes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(state >> 24U);
    }
    return planes;
}

class EffectRun {
  public:
    EffectRun(const posteffect::EffectInfo& effect, Size size)
        : m_size(size), m_input(MakePlanes(size)), m_planes(m_input) {
        m_session.run([](IPostEffect& s) { return s.start(); });
        choose(effect);
        m_session.run([&](IPostEffect& s) { return s.startPreview(size.width, size.height); });
        m_session.run([&](IPostEffect& s) { return s.setCrop(0, 0, size.width, size.height); });
    }

    void choose(const posteffect::EffectInfo& effect) {
        const android::String8 text(
            posteffect::FlattenParameters(effect, posteffect::DefaultValues(effect)).c_str());
        m_session.run([&](IPostEffect& s) { return s.setParameters(text); });
    }

    // The frame as it was before any effect.
    void refill() { m_planes = m_input; }
    bool frame() {
        return m_session.run([this](IPostEffect& s) {
            return s.handlePreview(-1, m_planes.data(), 0);
        }) == kPostEffectOk;
    }
    // A still of its own size, in blocks of the frame's.
    bool capture(Size size, std::vector<std::uint8_t>& planes) {
        m_session.run([&](IPostEffect& s) { return s.setCrop(0, 0, size.width, size.height); });
        return m_session.run([&](IPostEffect& s) {
            return s.handleCapture(size.width, size.height, -1, planes.data(), 0,
                                   static_cast<int>(LumaBytes(size)));
        }) == kPostEffectOk;
    }

    Size size() const { return m_size; }
    const std::vector<std::uint8_t>& planes() const { return m_planes; }

  private:
    posteffect::ServiceSession m_session;
    Size m_size;
    std::vector<std::uint8_t> m_input;
    std::vector<std::uint8_t> m_planes;
};

// Effects that draw; the catalog's first leaves frames as they are.
template <typename Visit>
void ForEachEffect(const Visit& visit) {
    for (const posteffect::EffectInfo& effect : posteffect::kEffects) {
        if (effect.number != posteffect::kEffectBypass) visit(effect);
    }
}

}  // namespace bench
