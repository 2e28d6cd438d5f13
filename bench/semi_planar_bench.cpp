// The conversion of a whole frame beside memcpy of the bytes it writes, and beside the field's own
// routine for the nearest thing.
#include <benchmark/benchmark.h>
#include <libyuv.h>
#include <posteffect/SemiPlanar.h>

#include <cstring>
#include <vector>

namespace {

struct Frame {
    explicit Frame(const benchmark::State& state)
        : width(static_cast<int>(state.range(0))),
          height(static_cast<int>(state.range(1))),
          source(static_cast<std::size_t>(width * height * 3 / 2), 100),
          pixels(static_cast<std::size_t>(width * height * 4)) {}

    const unsigned char* chroma() const { return source.data() + width * height; }

    int width;
    int height;
    std::vector<unsigned char> source;
    std::vector<unsigned char> pixels;
};

void Memcpy4(benchmark::State& state) {
    Frame frame(state);
    const std::vector<unsigned char> from(frame.pixels.size(), 1);
    for (auto _ : state) {
        std::memcpy(frame.pixels.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
}

void Sp2yuvxs(benchmark::State& state) {
    Frame frame(state);
    for (auto _ : state) {
        sp2yuvxs(frame.pixels.data(), frame.width, frame.height, frame.source.data(), frame.width,
                 frame.height, 0, 0, frame.width, frame.height);
        benchmark::ClobberMemory();
    }
}

void LibyuvNV21ToARGB(benchmark::State& state) {
    Frame frame(state);
    for (auto _ : state) {
        libyuv::NV21ToARGB(frame.source.data(), frame.width, frame.chroma(), frame.width,
                           frame.pixels.data(), frame.width * 4, frame.width, frame.height);
        benchmark::ClobberMemory();
    }
}

void Sp2yuv(benchmark::State& state) {
    Frame frame(state);
    for (auto _ : state) {
        sp2yuv(frame.pixels.data(), frame.source.data(), frame.width, frame.height);
        benchmark::ClobberMemory();
    }
}

void LibyuvNV21ToYUV24(benchmark::State& state) {
    Frame frame(state);
    for (auto _ : state) {
        libyuv::NV21ToYUV24(frame.source.data(), frame.width, frame.chroma(), frame.width,
                            frame.pixels.data(), frame.width * 3, frame.width, frame.height);
        benchmark::ClobberMemory();
    }
}

#define FRAME_BENCHMARK(name) \
    BENCHMARK(name)->Args({640, 480})->Args({1280, 720})->Args({1920, 1088})
FRAME_BENCHMARK(Memcpy4);
FRAME_BENCHMARK(Sp2yuvxs);
FRAME_BENCHMARK(LibyuvNV21ToARGB);
FRAME_BENCHMARK(Sp2yuv);
FRAME_BENCHMARK(LibyuvNV21ToYUV24);

}  // namespace
