// Long runs that leave nothing behind: after a warm-up no GL object, no descriptor (a graphics
// buffer's memory, and with it an EGL image over it, is one), no thread and no memory is added.
//
// Some seconds by default; POSTEFFECT_SOAK=1 for the whole counts (scripts/soak.sh).
#include <gtest/gtest.h>
#include <posteffect/EffectCatalog.h>
#include <posteffect/PostEffect.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "tests/support/CaptureImage.h"
#include "tests/support/GLObjectCount.h"
#include "tests/support/ProcessState.h"
#include "tests/support/Service.h"

namespace {

using testing_support::CaptureImage;
using testing_support::LiveGLObjects;
using testing_support::ProcessState;
using testing_support::ReadProcessState;
using testing_support::Service;

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

struct Load {
    const char* name;
    void (*round)(IPostEffect& service, int round);
    int rounds;  // by default
    int whole;   // with POSTEFFECT_SOAK
};

class Soak : public testing::TestWithParam<Load> {};

TEST_P(Soak, LeavesNothingBehind) {
    const Load& load = GetParam();
    const int rounds = std::getenv("POSTEFFECT_SOAK") != nullptr ? load.whole : load.rounds;
    // Every effect has been there once, and the allocators have what they keep.
    const int warmUp = rounds / 2;
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
            const ProcessState state = ReadProcessState();
            std::printf("%s: after %d rounds %d objects, %ld descriptors, %ld threads, %ld KiB\n",
                        load.name, i + 1, LiveGLObjects(), state.descriptors, state.threads,
                        state.residentKiB);
            if (i + 1 == warmUp) {
                objects = LiveGLObjects();
                warm = state;
                continue;
            }
            EXPECT_EQ(LiveGLObjects(), objects);
            EXPECT_EQ(state.descriptors, warm.descriptors);
            EXPECT_EQ(state.threads, warm.threads);
#ifndef __SANITIZE_ADDRESS__  // which keeps freed memory for a while
            EXPECT_LT(state.residentKiB - warm.residentKiB, 1024);
#endif
        }
    }
    EXPECT_EQ(LiveGLObjects(), 0);
}

INSTANTIATE_TEST_SUITE_P(Loads, Soak,
                         testing::Values(Load{"frames", FramesOfChangingEffects, 108, 2500},
                                         Load{"captures", CapturesOfChangingEffects, 72, 1000},
                                         Load{"starts", StartsAndStops, 72, 1000},
                                         Load{"services", TwoInterleaved, 90, 500}),
                         [](const auto& load) { return std::string(load.param.name); });

}  // namespace
