// A whole preview frame through the service, and how much of it is the driver's.
#include <benchmark/benchmark.h>
#include <posteffect/PostEffect.h>

#include <chrono>
#include <vector>

#include "bench/GLTimer.h"

namespace {

using Clock = std::chrono::steady_clock;

void PreviewFrame(benchmark::State& state) {
    const auto width = static_cast<int>(state.range(0));
    const auto height = static_cast<int>(state.range(1));
    std::vector<unsigned char> frame(static_cast<std::size_t>(width * height * 3 / 2), 128);
    IPostEffect* service = createPostEffect();
    service->start();
    service->setParameters(
        android::String8("GPU-effect=4;GE-param0=50,0,0,0;GE-param1=480,272,912,272"));
    service->startPreview(width, height);
    if (service->handlePreview(-1, frame.data(), 0) != kPostEffectOk) {
        state.SkipWithError("no frame");
    }
    const double before = bench::SecondsInGL();
    const auto started = Clock::now();
    for (auto _ : state) service->handlePreview(-1, frame.data(), 0);
    const std::chrono::duration<double> elapsed = Clock::now() - started;
    state.counters["share_in_GL"] = (bench::SecondsInGL() - before) / elapsed.count();
    state.SetItemsProcessed(state.iterations());
    service->stop();
    destroyPostEffect(service);
}
BENCHMARK(PreviewFrame)
    ->Args({640, 480})
    ->Args({1280, 720})
    ->Args({1920, 1088})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void Capture(benchmark::State& state) {
    const auto width = static_cast<int>(state.range(0));
    const auto height = static_cast<int>(state.range(1));
    std::vector<unsigned char> image(
        static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3 / 2, 128);
    IPostEffect* service = createPostEffect();
    service->start();
    service->setParameters(
        android::String8("GPU-effect=4;GE-param0=50,0,0,0;GE-param1=480,272,912,272"));
    service->startPreview(1024, 768);
    for (auto _ : state) {
        if (service->handleCapture(width, height, -1, image.data(), 0, width * height) != 0) {
            state.SkipWithError("no capture");
        }
    }
    service->stop();
    destroyPostEffect(service);
}
BENCHMARK(Capture)
    ->Args({4000, 3000})
    ->Args({8000, 6000})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
