// Stills through the service, block by block as the command takes them.
#include <benchmark/benchmark.h>

#include <optional>
#include <string>

#include "apps/posteffect/BlockSize.h"
#include "bench/Benchmarks.h"
#include "bench/Cost.h"
#include "bench/EffectRun.h"

namespace bench {

namespace {

using posteffect::EffectInfo;

constexpr Size kPhoto = {4000, 3000};
constexpr Size kLargePhoto = {8000, 6000};

// Width a multiple of 32 and even height, as blocks have them.
Size WholeBlock(Size size) {
    return {posteffect::RoundUp(size.width, 32), posteffect::RoundUp(size.height, 2)};
}

// With `whole`, each round does the same as one block too.
void Capture(benchmark::State& state, const EffectInfo& effect, Size size, bool whole) {
    PostEffectRenderer renderer{};
    if (describeRenderer(&renderer) != 0) return state.SkipWithError("no renderer");
    const Size block = posteffect::ChooseBlockSize(size, effect, renderer);
    std::vector<std::uint8_t> planes = MakePlanes(size);
    Median wall;
    Median cpu;
    Median ofWhole;
    EffectRun run(effect, block);
    std::optional<EffectRun> atOnce;
    if (whole) atOnce.emplace(effect, WholeBlock(size));
    for (auto _ : state) {
        bool done = false;
        const Cost cost = CostOf([&] { done = run.capture(size, planes); });
        if (!done) return state.SkipWithError("no still");
        state.SetIterationTime(cost.wall);
        wall.add(cost.wall);
        cpu.add(cost.cpu);
        if (!atOnce) continue;
        const Cost other = CostOf([&] { done = atOnce->capture(size, planes); });
        if (!done) return state.SkipWithError("no still at once");
        ofWhole.add(cost.cpu / other.cpu);
    }
    state.counters["wall_ms"] = 1e3 * wall.value();
    state.counters["cpu_ms"] = 1e3 * cpu.value();
    if (whole) state.counters["of_whole"] = ofWhole.value();
    state.counters["cpu_ms_per_mp"] = 1e9 * cpu.value() / static_cast<double>(LumaBytes(size));
}

// One of each way through a still: single blocks, margins, tiles, the whole picture in strips.
bool StandsForOthers(const EffectInfo& effect) {
    for (const char* nick : {"vignette", "tilt-shift", "fisheye", "whiteboard"}) {
        if (std::string(nick) == effect.nick) return true;
    }
    return false;
}

}  // namespace

void RegisterCaptures(bool allLarge) {
    for (const Size size : {kPhoto, kLargePhoto}) {
        ForEachEffect([&](const EffectInfo& effect) {
            if (size.width == kLargePhoto.width && !allLarge && !StandsForOthers(effect)) return;
            const std::string name = "Capture_" + SizeText(size) + "/" + effect.nick;
            Register(name, [&effect, size](benchmark::State& state) {
                Capture(state, effect, size, size.width == kPhoto.width);
            });
        });
    }
}

}  // namespace bench
