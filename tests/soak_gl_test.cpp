// Long runs that leave nothing behind: after a warm-up no GL object, no descriptor (a graphics
// buffer's memory, and with it an EGL image over it, is one), no thread and no memory is added.
//
// Some seconds by default; POSTEFFECT_SOAK=1 for the whole counts (scripts/soak.sh).
#include <gtest/gtest.h>
#include <malloc.h>
#include <posteffect/EffectCatalog.h>
#include <posteffect/PostEffect.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/CaptureImage.h"
#include "tests/support/GLObjectCount.h"
#include "tests/support/ProcessState.h"
#include "tests/support/Service.h"

namespace {

using testing_support::CaptureImage;
using testing_support::LiveGLObjects;
using testing_support::ProcessState;
using testing_support::ReadSettledProcessState;
using testing_support::Service;

// Before any thread begins: one heap for all, because with one for each resident memory moves by
// two megabytes as new threads happen to share them; and a renderer that draws in the thread that
// called, because another begins a scene of half a megabyte, and keeps it, whenever it is late.
const bool gIsSteady = mallopt(M_ARENA_MAX, 1) == 1 && setenv("LP_NUM_THREADS", "0", 1) == 0;

// Not of use where sanitizers keep what was freed.
[[maybe_unused]] constexpr long kHeapBound = 65536;     // bytes
[[maybe_unused]] constexpr long kResidentBound = 1024;  // KiB

// The round's effect: each of the catalog's in turn.
android::String8 ParametersOf(int round) {
    constexpr std::size_t kCount = posteffect::kEffects.size() - 1;  // but "none"
    const std::size_t which = static_cast<std::size_t>(round) % kCount + 1;
    const std::string letter(1, posteffect::kEffects[which].letter);
    const std::string text =
        "GPU-effect=" + letter + ";GE-param0=0,0,0,0;GE-param1=480,272,912,272";
    return android::String8(text.c_str());
}

void Preview(IPostEffect& service, int frames) {
    CaptureImage frame(64, 48);
    for (int i = 0; i < frames; ++i) ASSERT_EQ(service.handlePreview(-1, frame.data(), 0), 0);
}

void Capture(IPostEffect& service) {
    // Blocks that are large enough for every effect's margins.
    ASSERT_EQ(service.startPreview(192, 144), 0);
    CaptureImage image(240, 160);
    ASSERT_EQ(service.handleCapture(240, 160, -1, image.data(), 0, image.chromaOffset()), 0);
}

void Begin(IPostEffect& service, int round) {
    ASSERT_EQ(service.setParameters(ParametersOf(round)), 0);
    ASSERT_EQ(service.startPreview(64, 48), 0);
}

// Four frames of one effect, then the next.
void FramesOfChangingEffects(IPostEffect& service, int round) {
    Begin(service, round);
    Preview(service, 4);
}

// Some of the 2.6 million that a camera makes in a day.
void FramesOfOneEffect(IPostEffect& service, int) {
    Begin(service, 3);
    Preview(service, 500);
}

void CapturesOfChangingEffects(IPostEffect& service, int round) {
    Begin(service, round);
    Capture(service);
}

void StartsAndStops(IPostEffect& service, int round) {
    Begin(service, round);
    Preview(service, 1);
    EXPECT_EQ(service.stop(), 0);
    EXPECT_EQ(service.start(), 0);
}

// A second service comes, works in turns with the first, and goes.
void TwoInterleaved(IPostEffect& service, int round) {
    const Service other;
    Begin(service, round);
    Begin(*other.operator->(), round + 7);
    Preview(service, 1);
    Preview(*other.operator->(), 1);
    Capture(service);
    Capture(*other.operator->());
}

// Three more, each with an effect of its own, all four in turns.
void FourInterleaved(IPostEffect& service, int) {
    const Service others[3];
    IPostEffect* const all[] = {&service, others[0].operator->(), others[1].operator->(),
                                others[2].operator->()};
    for (int i = 0; i < 4; ++i) Begin(*all[i], i + 2);
    for (int i = 0; i < 8; ++i) Preview(*all[i % 4], 1);
}

struct Load {
    const char* name;
    void (*round)(IPostEffect& service, int round);
    int rounds;    // by default; each part of them ends with the same effect
    int whole;     // with POSTEFFECT_SOAK
    int part = 2;  // of the rounds come before the state that the last is compared with
};

class Soak : public testing::TestWithParam<Load> {};

TEST_P(Soak, LeavesNothingBehind) {
    const Load& load = GetParam();
    const bool isWhole = std::getenv("POSTEFFECT_SOAK") != nullptr;
    const int rounds = isWhole ? load.whole : load.rounds;
    // Every effect has been there once, and the allocators have what they keep.
    const int warmUp = rounds / load.part;
    int objects = 0;
    ProcessState warm{};
    {
        const Service service;
        for (int i = 0; i < rounds; ++i) {
            load.round(*service.operator->(), i);
            ASSERT_FALSE(HasFatalFailure()) << "round " << i;
            if (i + 1 != warmUp && i + 1 != rounds) continue;
            // Between two rounds an effect is loaded: counted without it.
            ASSERT_EQ(service->stopPreview(), 0);
            const ProcessState state = ReadSettledProcessState();
            std::printf(
                "%s: after %d rounds %d objects, %ld descriptors, %ld threads, %ld KiB, "
                "heap %ld\n",
                load.name, i + 1, LiveGLObjects(), state.descriptors, state.threads,
                state.residentKiB, state.heapBytes);
            if (i + 1 == warmUp) {
                objects = LiveGLObjects();
                warm = state;
                continue;
            }
            EXPECT_EQ(LiveGLObjects(), objects);
            EXPECT_EQ(state.descriptors, warm.descriptors);
            EXPECT_EQ(state.threads, warm.threads);
#ifndef __SANITIZE_ADDRESS__  // which keeps freed memory for a while
            ASSERT_TRUE(gIsSteady);
            EXPECT_LT(state.heapBytes - warm.heapBytes, kHeapBound);
            EXPECT_LT(state.residentKiB - warm.residentKiB, kResidentBound);
#endif
        }
    }
    EXPECT_EQ(LiveGLObjects(), 0);
}

// stop() at any moment of frames and captures: soon, and every caller comes back.
TEST(Stop, ReturnsSoonWhateverIsUnderWay) {
    using Clock = std::chrono::steady_clock;
    const bool isWhole = std::getenv("POSTEFFECT_SOAK") != nullptr;
    const int cycles = isWhole ? 1000 : 20;
    const Service service;
    ASSERT_EQ(service->setParameters(ParametersOf(3)), 0);
    std::atomic<bool> ended{false};
    std::atomic<long> posted{0}, done{0}, refused{0}, cancelled{0}, other{0};
    const auto call = [&](auto&& work) {
        while (!ended) {
            ++posted;
            const int status = work();
            std::atomic<long>& end = status == 0                      ? done
                                     : status == kPostEffectBusy      ? refused
                                     : status == kPostEffectCancelled ? cancelled
                                                                      : other;
            ++end;
            if (status != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    };
    std::vector<double> frames(1, 0.0);  // milliseconds
    std::thread preview([&] {
        CaptureImage frame(320, 240);
        call([&] {
            const auto begin = Clock::now();
            const int status = service->handlePreview(-1, frame.data(), 0);
            const std::chrono::duration<double, std::milli> took = Clock::now() - begin;
            if (status == 0) frames.push_back(took.count());
            return status;
        });
    });
    std::thread capture([&] {
        CaptureImage image(320, 240);
        call([&] {
            return service->handleCapture(320, 240, -1, image.data(), 0, image.chromaOffset());
        });
    });
    std::minstd_rand random(1);
    std::vector<double> stops;
    for (int i = 0; i < cycles; ++i) {
        EXPECT_EQ(service->start(), 0);
        // A full queue refuses: that is what the two callers make of it.
        while (service->setParameters(ParametersOf(3)) == kPostEffectBusy) {
        }
        while (service->startPreview(320, 240) == kPostEffectBusy) {
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 30000));
        const auto begin = Clock::now();
        EXPECT_EQ(service->stop(), 0);
        stops.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
    }
    ended = true;
    EXPECT_EQ(service->start(), 0);
    preview.join();
    capture.join();
    EXPECT_EQ(posted, done + refused + cancelled + other);
    std::sort(stops.begin(), stops.end());
    std::sort(frames.begin(), frames.end());
    const auto p99 = [](const std::vector<double>& all) { return all[all.size() * 99 / 100]; };
    std::printf(
        "%d stops: p99 %.1f ms, longest %.1f ms; call of a frame: p99 %.1f ms; "
        "%ld calls: %ld done, %ld refused, %ld cancelled, %ld without a preview\n",
        cycles, p99(stops), stops.back(), p99(frames), posted.load(), done.load(), refused.load(),
        cancelled.load(), other.load());
    EXPECT_LT(stops.back(), 2000.0);
    // Fewer are no measure, beside other work least of all.
    if (isWhole) {
        EXPECT_LT(p99(stops), p99(frames) + 100.0);
    }
    EXPECT_GT(done, 0);
}

INSTANTIATE_TEST_SUITE_P(Loads, Soak,
                         testing::Values(Load{"frames", FramesOfChangingEffects, 216, 2520},
                                         Load{"day", FramesOfOneEffect, 10, 5200, 10},
                                         Load{"captures", CapturesOfChangingEffects, 144, 1008},
                                         Load{"starts", StartsAndStops, 72, 1008},
                                         Load{"services", TwoInterleaved, 72, 504},
                                         Load{"four", FourInterleaved, 16, 200}),
                         [](const auto& load) { return std::string(load.param.name); });

}  // namespace
