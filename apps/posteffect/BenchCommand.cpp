// posteffect bench: what each effect takes here, and how it compares with the vignette.
#include <posteffect/EffectCatalog.h>
#include <posteffect/Renderer.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/EffectParameters.h"
#include "apps/common/ServiceSession.h"
#include "apps/posteffect/Arguments.h"
#include "apps/posteffect/BlockSize.h"
#include "apps/posteffect/EffectArguments.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/JsonText.h"
#include "apps/posteffect/OptionText.h"
#include "apps/posteffect/RendererJson.h"
#include "apps/posteffect/StandardOutput.h"
#include "apps/posteffect/YuvPicture.h"

namespace posteffect {
namespace {

constexpr Size kDefaultFrame = {1280, 720};
constexpr int kDefaultFrames = 3;
constexpr Size kStill = {4000, 3000};  // 12 megapixels

struct Timing {
    const EffectInfo* effect = nullptr;
    double previewMs = 0.0;
    double stillMs = 0.0;
};

// Every level and no long runs of one.
SemiPlanarFrame MakeFrame(Size size) {
    SemiPlanarFrame frame;
    frame.size = size;
    frame.bytes = PixelBytes(frame.lumaBytes() / 2 * 3);
    std::uint32_t state = 1;
    for (std::uint8_t& byte : frame.bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(state >> 24U);
    }
    return frame;
}

template <typename Work>
double Milliseconds(const Work& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
        .count();
}

// One call that has to succeed.
template <typename Call>
void Do(ServiceSession& session, const EffectInfo& effect, const Call& call) {
    if (session.run(call) == kPostEffectOk) return;
    throw Failure(kExitSomeFailed, effect.nick, "does not work here: posteffect doctor tells why");
}

class Bench {
  public:
    Bench(const PostEffectRenderer& renderer, Size frame, int frames)
        : m_renderer(renderer),
          m_preview(MakeFrame(frame)),
          m_still(MakeFrame(kStill)),
          m_frames(frames) {}

    Timing measure(const EffectInfo& effect) {
        ServiceSession session;
        const android::String8 parameters(FlattenParameters(effect, DefaultValues(effect)).c_str());
        Do(session, effect, [](IPostEffect& s) { return s.start(); });
        Do(session, effect, [&](IPostEffect& s) { return s.setParameters(parameters); });
        Timing timing;
        timing.effect = &effect;
        timing.previewMs = previews(session, effect);
        timing.stillMs = still(session, effect);
        return timing;
    }

  private:
    // The median, which one frame that was held up does not move.
    double previews(ServiceSession& session, const EffectInfo& effect) {
        const auto frame = [&] {
            Do(session, effect,
               [&](IPostEffect& s) { return s.handlePreview(-1, m_preview.bytes.data(), 0); });
        };
        prepare(session, effect, m_preview.size, m_preview.size);
        frame();  // sets the effect up
        std::vector<double> times(static_cast<std::size_t>(m_frames));
        for (double& time : times) time = Milliseconds(frame);
        const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
        std::nth_element(times.begin(), middle, times.end());
        return *middle;
    }

    // With the effect's set-up, as somebody who takes one photo waits for it.
    double still(ServiceSession& session, const EffectInfo& effect) {
        prepare(session, effect, ChooseBlockSize(kStill, effect, m_renderer), kStill);
        return Milliseconds([&] {
            Do(session, effect, [&](IPostEffect& s) {
                return s.handleCapture(kStill.width, kStill.height, -1, m_still.bytes.data(), 0,
                                       static_cast<int>(m_still.lumaBytes()));
            });
        });
    }

    static void prepare(ServiceSession& session, const EffectInfo& effect, Size block,
                        Size picture) {
        Do(session, effect,
           [&](IPostEffect& s) { return s.startPreview(block.width, block.height); });
        Do(session, effect,
           [&](IPostEffect& s) { return s.setCrop(0, 0, picture.width, picture.height); });
    }

    const PostEffectRenderer& m_renderer;
    SemiPlanarFrame m_preview;
    SemiPlanarFrame m_still;
    int m_frames;
};

struct Results {
    PostEffectRenderer renderer{};
    Size frame;
    int frames = 0;
    Timing base;  // the vignette's
    std::vector<Timing> timings;
};

std::string PlainText(const Results& results) {
    std::string text = std::string(results.renderer.renderer) + "\n" + "preview " +
                       SizeText(results.frame) + ", median of " + std::to_string(results.frames) +
                       "; still " + SizeText(kStill) + ", once; x is times the vignette\n";
    char line[128];
    for (const Timing& timing : results.timings) {
        std::snprintf(line, sizeof(line), "%-20s%9.1f ms %6.2f x%10.0f ms %6.2f x\n",
                      timing.effect->nick, timing.previewMs,
                      timing.previewMs / results.base.previewMs, timing.stillMs,
                      timing.stillMs / results.base.stillMs);
        text += line;
    }
    return text;
}

std::string Json(const Results& results) {
    nlohmann::ordered_json json;
    json["renderer"] = RendererJson(results.renderer);
    json["preview_size"] = {results.frame.width, results.frame.height};
    json["preview_frames"] = results.frames;
    json["still_size"] = {kStill.width, kStill.height};
    json["ratio_to"] = results.base.effect->nick;
    json["effects"] = nlohmann::ordered_json::array();
    for (const Timing& timing : results.timings) {
        json["effects"].push_back({{"effect", timing.effect->nick},
                                   {"preview_ms", timing.previewMs},
                                   {"preview_ratio", timing.previewMs / results.base.previewMs},
                                   {"still_ms", timing.stillMs},
                                   {"still_ratio", timing.stillMs / results.base.stillMs}});
    }
    return JsonText(json);
}

class BenchCommand : public Command {
  public:
    const char* name() const override { return "bench"; }
    const char* summary() const override { return "measure the effects on this machine"; }
    void declare(Arguments& arguments) override {
        arguments.option("-e,--effect", "NAME", "only this effect", &m_effect);
        arguments.option(
            "--size", "WxH",
            "of the preview frames; both even (default " + SizeText(kDefaultFrame) + ")", &m_size);
        arguments.option(
            "--frames", "N",
            "preview frames to measure (1..10000, default " + std::to_string(kDefaultFrames) + ")",
            &m_frames);
        arguments.flag("--json", "as JSON", &m_json);
    }
    int run() override {
        const EffectInfo* only = m_effect ? &FindEffect(*m_effect) : nullptr;
        Results results;
        results.frame = m_size ? ParseEvenSize("size", *m_size) : kDefaultFrame;
        results.frames = m_frames ? ParseWhole("frames", *m_frames, 1, 10000) : kDefaultFrames;
        if (describeRenderer(&results.renderer) != 0) {
            throw Failure(kExitNoGpu, "bench",
                          "the GPU cannot be used: posteffect doctor says what to install");
        }
        Bench bench(results.renderer, results.frame, results.frames);
        results.base = bench.measure(kEffects[kEffectVignette]);
        for (const EffectInfo& effect : kEffects) {
            if (only && only != &effect) continue;
            const bool measured = &effect == results.base.effect;
            results.timings.push_back(measured ? results.base : bench.measure(effect));
        }
        return WriteStandardOutput(m_json ? Json(results) : PlainText(results));
    }

  private:
    std::optional<std::string> m_effect;
    std::optional<std::string> m_size;
    std::optional<std::string> m_frames;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> MakeBenchCommand() {
    return std::make_unique<BenchCommand>();
}

}  // namespace posteffect
