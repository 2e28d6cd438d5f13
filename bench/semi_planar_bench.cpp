// Conversions of a whole frame, and the field's own routines for the nearest things. `of_memcpy` is
// each one's time over that of memcpy for the bytes it writes, taken in the same run.
#include <benchmark/benchmark.h>
#include <libyuv.h>
#include <posteffect/SemiPlanar.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "engine/SemiPlanarRect.h"

namespace {

using Clock = std::chrono::steady_clock;

// Bytes as graphics buffers have them: from the start of a page, every page present.
struct Buffer {
    explicit Buffer(std::size_t size)
        : bytes(static_cast<unsigned char*>(std::aligned_alloc(kPage, Pages(size))), std::free) {
        if (bytes != nullptr) std::memset(bytes.get(), 100, Pages(size));
    }
    unsigned char* get() const { return bytes.get(); }

    static constexpr std::size_t kPage = 4096;
    static std::size_t Pages(std::size_t size) { return (size + kPage - 1) / kPage * kPage; }

    std::unique_ptr<unsigned char, decltype(&std::free)> bytes;
};

struct Frame {
    Frame(int width_, int height_)
        : width(width_),
          height(height_),
          source(pixelCount() * 3 / 2),
          destination(pixelCount() * 4) {}

    std::size_t pixelCount() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
    unsigned char* dst() const { return destination.get(); }
    const unsigned char* luma() const { return source.get(); }
    const unsigned char* chroma() const { return luma() + pixelCount(); }

    int width;
    int height;
    Buffer source;
    Buffer destination;
};

void Sp2yuv(const Frame& f) {
    sp2yuv(f.dst(), f.luma(), f.width, f.height);
}

void Sp2yuvx(const Frame& f) {
    sp2yuvx(f.dst(), f.luma(), f.width, f.height);
}

void Sp2yuvxs(const Frame& f) {
    sp2yuvxs(f.dst(), f.width, f.height, f.luma(), f.width, f.height, 0, 0, f.width, f.height);
}

// The same frame by the road that previews and capture blocks take.
void Rect(const Frame& f) {
    posteffect::ConvertSemiPlanarRect(f.dst(), f.width, f.height, f.luma(), f.chroma(), f.width,
                                      f.height, 0, 0, f.width, f.height);
}

// Reaching out of the picture by an odd 33 pixels on each side.
void RectOutside(const Frame& f) {
    posteffect::ConvertSemiPlanarRect(f.dst(), f.width, f.height, f.luma(), f.chroma(),
                                      f.width - 66, f.height - 66, -33, -33, f.width, f.height);
}

void NV21ToARGB(const Frame& f) {
    libyuv::NV21ToARGB(f.luma(), f.width, f.chroma(), f.width, f.dst(), f.width * 4, f.width,
                       f.height);
}

void NV21ToYUV24(const Frame& f) {
    libyuv::NV21ToYUV24(f.luma(), f.width, f.chroma(), f.width, f.dst(), f.width * 3, f.width,
                        f.height);
}

void Conversion(benchmark::State& state, void (*convert)(const Frame&), int pixelBytes) {
    const Frame frame(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const std::size_t bytes = frame.pixelCount() * static_cast<std::size_t>(pixelBytes);
    const Buffer other(bytes);
    if (frame.luma() == nullptr || frame.dst() == nullptr || other.get() == nullptr) {
        state.SkipWithError("out of memory");
        return;
    }
    using Seconds = std::chrono::duration<double>;
    const auto time = [](auto work) {
        const auto started = Clock::now();
        work();
        benchmark::ClobberMemory();
        return Seconds(Clock::now() - started).count();
    };
    // Turn and turn about, in batches that leave each its own bytes in the cache.
    constexpr int kBatch = 8;
    double reference = 0.0;
    double total = 0.0;
    for (auto _ : state) {
        convert(frame);
        const double seconds = time([&] {
            for (int i = 0; i < kBatch; ++i) {
                convert(frame);
                benchmark::ClobberMemory();
            }
        });
        std::memcpy(frame.dst(), other.get(), bytes);
        reference += time([&] {
            for (int i = 0; i < kBatch; ++i) {
                std::memcpy(frame.dst(), other.get(), bytes);
                benchmark::ClobberMemory();
            }
        });
        state.SetIterationTime(seconds / kBatch);
        total += seconds;
    }
    state.counters["of_memcpy"] = total / reference;
}

void Sizes(benchmark::internal::Benchmark* conversion) {
    conversion->Args({640, 480})->Args({1280, 720})->Args({1920, 1088});
    // Of the conversion alone, a twentieth of what an iteration takes.
    conversion->UseManualTime()->MinTime(0.03)->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(Conversion, sp2yuvxs, Sp2yuvxs, 4)->Apply(Sizes);
BENCHMARK_CAPTURE(Conversion, sp2yuvx, Sp2yuvx, 4)->Apply(Sizes);
BENCHMARK_CAPTURE(Conversion, rect, Rect, 4)->Apply(Sizes);
BENCHMARK_CAPTURE(Conversion, rect_reaching_out, RectOutside, 4)->Apply(Sizes);
BENCHMARK_CAPTURE(Conversion, libyuv_NV21ToARGB, NV21ToARGB, 4)->Apply(Sizes);
BENCHMARK_CAPTURE(Conversion, sp2yuv, Sp2yuv, 3)->Apply(Sizes);
BENCHMARK_CAPTURE(Conversion, libyuv_NV21ToYUV24, NV21ToYUV24, 3)->Apply(Sizes);

}  // namespace
