// Conversions of a whole frame, as times of memcpy for the bytes they write and of libyuv's routine
// for the nearest thing, both taken in the same run.
#include <benchmark/benchmark.h>
#include <libyuv.h>
#include <posteffect/SemiPlanar.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "bench/Benchmarks.h"
#include "bench/Cost.h"
#include "bench/EffectRun.h"
#include "engine/SemiPlanarRect.h"

namespace bench {

namespace {

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

void Libyuv4(const Frame& f) {
    libyuv::NV21ToARGB(f.luma(), f.width, f.chroma(), f.width, f.dst(), f.width * 4, f.width,
                       f.height);
}

void Libyuv3(const Frame& f) {
    libyuv::NV21ToYUV24(f.luma(), f.width, f.chroma(), f.width, f.dst(), f.width * 3, f.width,
                        f.height);
}

// As many bytes read and written by the field's own routine; those of three bytes do the same work,
// the one of four computes RGB besides.
struct Peer {
    void (*convert)(const Frame&);
    int pixelBytes;
};
constexpr Peer kPeer4 = {Libyuv4, 4};
constexpr Peer kPeer3 = {Libyuv3, 3};

// Every form of SemiPlanar.h on a whole frame, and the road that previews and stills take.
constexpr struct Form {
    const char* name;
    void (*convert)(const Frame&);
    const Peer& peer;
} kForms[] = {
    {"sp2yuv", [](const Frame& f) { sp2yuv(f.dst(), f.luma(), f.width, f.height); }, kPeer3},
    {"sp2yuvx", [](const Frame& f) { sp2yuvx(f.dst(), f.luma(), f.width, f.height); }, kPeer4},
    {"sp2yuvx, rows of a length",
     [](const Frame& f) { sp2yuvx(f.dst(), f.width, f.luma(), f.width, f.height); }, kPeer4},
    {"sp2yuvx, rectangle",
     [](const Frame& f) { sp2yuvx(f.dst(), f.luma(), f.width, f.height, 0, 0, f.width, f.height); },
     kPeer4},
    {"sp2yuvxs",
     [](const Frame& f) {
         sp2yuvxs(f.dst(), f.width, f.luma(), f.width, f.height, 0, 0, f.width, f.height);
     },
     kPeer4},
    // A sixteenth of the width and height is padding.
    {"sp2yuvxs, padded",
     [](const Frame& f) {
         sp2yuvxs(f.dst(), f.width, f.height, f.luma(), f.width, f.height, 0, 0,
                  f.width - f.width / 16 / 16 * 16, f.height - f.height / 16 / 2 * 2);
     },
     kPeer4},
    {"sp2yuvxs, two planes",
     [](const Frame& f) {
         sp2yuvxs(f.dst(), f.width, f.height, f.luma(), f.chroma(), f.width, f.height, 0, 0,
                  f.width, f.height);
     },
     kPeer4},
    {"ConvertSemiPlanarRect",
     [](const Frame& f) {
         posteffect::ConvertSemiPlanarRect(f.dst(), f.width, f.height, f.luma(), f.chroma(),
                                           f.width, f.height, 0, 0, f.width, f.height);
     },
     kPeer4},
    // Reaching out of the picture by an odd 33 pixels on each side.
    {"ConvertSemiPlanarRect, outside",
     [](const Frame& f) {
         posteffect::ConvertSemiPlanarRect(f.dst(), f.width, f.height, f.luma(), f.chroma(),
                                           f.width - 66, f.height - 66, -33, -33, f.width,
                                           f.height);
     },
     kPeer4},
    {"libyuv NV21ToARGB", Libyuv4, kPeer4},
    {"libyuv NV21ToYUV24", Libyuv3, kPeer3},
};

void Conversion(benchmark::State& state, const Form& form, Size size) {
    const Frame frame(size.width, size.height);
    const std::size_t bytes = frame.pixelCount() * static_cast<std::size_t>(form.peer.pixelBytes);
    const Buffer other(bytes);
    if (frame.luma() == nullptr || frame.dst() == nullptr || other.get() == nullptr) {
        state.SkipWithError("out of memory");
        return;
    }
    // Turn and turn about, in batches that leave each its own bytes in the cache.
    constexpr int kBatch = 8;
    const auto time = [](const auto& work) {
        work();
        const Cost cost = CostOf([&] {
            for (int i = 0; i < kBatch; ++i) {
                work();
                benchmark::ClobberMemory();
            }
        });
        return cost.wall / kBatch;
    };
    Median own;
    Median ofMemcpy;
    Median ofLibyuv;
    for (auto _ : state) {
        const double seconds = time([&] { form.convert(frame); });
        ofMemcpy.add(seconds / time([&] { std::memcpy(frame.dst(), other.get(), bytes); }));
        ofLibyuv.add(seconds / time([&] { form.peer.convert(frame); }));
        state.SetIterationTime(seconds);
        own.add(seconds);
    }
    state.counters["us"] = 1e6 * own.value();
    state.counters["of_memcpy"] = ofMemcpy.value();
    state.counters["of_libyuv"] = ofLibyuv.value();
}

}  // namespace

void RegisterConversions() {
    for (const Size size : kFrameSizes) {
        for (const Form& form : kForms) {
            const std::string name = "Conversion_" + SizeText(size) + "/" + form.name;
            Register(name,
                     [&form, size](benchmark::State& state) { Conversion(state, form, size); })
                // Of the conversion alone, a thirtieth of what an iteration takes.
                ->MinTime(0.03);
        }
    }
}

}  // namespace bench
