// Stills through the service, block by block as the command takes them.
#include <benchmark/benchmark.h>

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

void Capture(benchmark::State& state, const EffectInfo& effect, Size size) {
    EffectRun run(effect, posteffect::ChooseBlockSize(size, effect.stillBlocks));
    std::vector<std::uint8_t> planes = MakePlanes(size);
    Median wall;
    Median cpu;
    for (auto _ : state) {
        bool done = false;
        const Cost cost = CostOf([&] { done = run.capture(size, planes); });
        if (!done) return state.SkipWithError("no still");
        state.SetIterationTime(cost.wall);
        wall.add(cost.wall);
        cpu.add(cost.cpu);
    }
    state.counters["wall_ms"] = 1e3 * wall.value();
    state.counters["cpu_ms"] = 1e3 * cpu.value();
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
            Register(name,
                     [&effect, size](benchmark::State& state) { Capture(state, effect, size); });
        });
    }
}

}  // namespace bench
