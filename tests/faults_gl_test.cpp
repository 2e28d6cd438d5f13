// Whatever the library relies on fails, call after call: each operation answers with its status,
// refused pictures stay as they were, nothing is left behind, and the next operation works.
// POSTEFFECT_FAULTS names the number of one effect, of which every call is to fail, once and for
// good; scripts/fault-sweep.sh does that for all.
#include <android/log.h>
#include <gtest/gtest.h>
#include <posteffect/EffectCatalog.h>
#include <posteffect/PostEffect.h>
#include <posteffect/Renderer.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "tests/support/CaptureImage.h"
#include "tests/support/FaultInjector.h"
#include "tests/support/GLObjectCount.h"
#include "tests/support/ProcessState.h"

namespace {

using posteffect::kEffects;
using testing_support::CaptureImage;
using testing_support::Fault;
using testing_support::FaultPlan;
using testing_support::kFaultCount;
using testing_support::LiveGLObjects;
using testing_support::LiveImages;
using testing_support::NameOf;
using testing_support::ReadProcessState;

constexpr int kWidth = 192;  // blurs need blocks that are wider than their margins
constexpr int kHeight = 144;
constexpr int kImageWidth = 220;
constexpr int kImageHeight = 160;
constexpr long kMostCalls = 50;
constexpr int kNotCalled = -1000;

// The effect of which every call is to fail, or -1: some calls of each.
int EffectToSweep() {
    const char* asked = std::getenv("POSTEFFECT_FAULTS");
    return asked != nullptr ? std::atoi(asked) : -1;
}

// What a run of the service answered.
struct Answers {
    int start = kNotCalled;
    int parameters = kNotCalled;
    int startPreview = kNotCalled;
    int first = kNotCalled;  // preview frames: the one that sets up, and the next
    int second = kNotCalled;
    int capture = kNotCalled;
    int stop = kNotCalled;
};

enum class Road { kPreview, kCapture };

// The pictures of a run, and what they are before and after the effect.
struct Pictures {
    CaptureImage frame{kWidth, kHeight};
    CaptureImage second{kWidth, kHeight};
    CaptureImage image{kImageWidth, kImageHeight};
    std::vector<uint8_t> frameBefore, imageBefore;

    Pictures() {
        Refill();
        frameBefore = frame.bytes();
        imageBefore = image.bytes();
    }
    void Refill() {
        frame.FillScene(1);
        second.FillScene(1);
        image.FillScene(2);
    }
};

bool Same(const CaptureImage& picture, const std::vector<uint8_t>& bytes) {
    return std::equal(bytes.begin(), bytes.end(), picture.data());
}

// Allocates nothing of its own: a plan may be at work.
Answers Drive(IPostEffect* service, const android::String8& parameters, Road road, Pictures& p) {
    Answers a;
    a.start = service->start();
    if (a.start != 0) return a;
    a.parameters = service->setParameters(parameters);
    a.startPreview = service->startPreview(kWidth, kHeight);
    if (road == Road::kPreview) {
        a.first = service->handlePreview(-1, p.frame.data(), 0);
        a.second = service->handlePreview(-1, p.second.data(), 0);
    } else {
        a.capture = service->handleCapture(kImageWidth, kImageHeight, -1, p.image.data(), 0,
                                           p.image.chromaOffset());
    }
    service->stopPreview();
    return a;
}

android::String8 ParametersOf(int number) {
    for (const auto& effect : kEffects) {
        if (effect.number != number) continue;
        std::string text = "GPU-effect=";
        text += effect.letter;
        text += ";GE-param0=50,0,0,0;GE-param1=480,272,912,272";
        return android::String8(text.c_str());
    }
    return android::String8("GPU-effect=0");
}

// The text lets the work go on after these: the answer is 0 and the picture whatever came out.
bool MayShowAnything(Fault fault) {
    return fault == Fault::kFramebuffer || fault == Fault::kGenerate;
}

// Sanitizers take four times as long: there each effect has a third of the kinds.
bool SkipsHere(int effect, std::size_t kind) {
#ifdef __SANITIZE_ADDRESS__
    return (static_cast<std::size_t>(effect) + kind) % 3 != 0;
#else
    static_cast<void>(effect);
    static_cast<void>(kind);
    return false;
#endif
}

class Faults : public testing::Test {
  protected:
    void SetUp() override {
        __android_log_set_sink([](int, const char*, const char*) {});
        // The driver's own lasting things are there before anything is counted.
        Pictures pictures;
        IPostEffect* service = createPostEffect();
        const Answers answers = Drive(service, ParametersOf(4), Road::kPreview, pictures);
        service->stop();
        destroyPostEffect(service);
        ASSERT_EQ(answers.second, 0) << "no EGL on this machine";
        m_objects = LiveGLObjects();
        m_descriptors = ReadProcessState().descriptors;
    }

    void ExpectNothingLeft(long shadersLeft) {
        EXPECT_EQ(LiveGLObjects() - m_objects, shadersLeft);
        m_objects = LiveGLObjects();
        EXPECT_EQ(LiveImages(), 0);
        EXPECT_EQ(ReadProcessState().descriptors, m_descriptors);
    }

    void Sweep(int effect, Road road, Fault fault, bool lasting, long nth);

    int m_objects = 0;
    long m_descriptors = 0;
    Pictures m_pictures;
    std::map<std::string, int> m_statuses;  // "fault status" and how often
    long m_points = 0;
    std::vector<uint8_t> m_frameAfter, m_imageAfter;
};

void Check(int status, std::initializer_list<int> allowed, const char* operation) {
    EXPECT_NE(std::find(allowed.begin(), allowed.end(), status), allowed.end())
        << operation << " answered " << status;
}

void CheckPicture(int status, Fault fault, const CaptureImage& picture,
                  const std::vector<uint8_t>& before, const std::vector<uint8_t>& after) {
    if (status == 0 && (MayShowAnything(fault) || Same(picture, after))) return;
    EXPECT_TRUE(Same(picture, before)) << "status " << status;
}

void Faults::Sweep(int effect, Road road, Fault fault, bool lasting, long nth) {
    SCOPED_TRACE(std::string(NameOf(fault)) + (lasting ? " from call " : " at call ") +
                 std::to_string(nth) + ", effect " + std::to_string(effect) +
                 (road == Road::kPreview ? ", preview" : ", capture"));
    const android::String8 parameters = ParametersOf(effect);
    m_pictures.Refill();
    IPostEffect* service = nullptr;
    Answers a;
    long injected = 0;
    {
        const FaultPlan plan(fault, nth, lasting);
        service = createPostEffect();
        if (service != nullptr) a = Drive(service, parameters, road, m_pictures);
        injected = FaultPlan::Injected();
    }
    ASSERT_GT(injected, 0);
    ++m_points;
    const bool memory = fault == Fault::kNew;
    if (service == nullptr) {
        EXPECT_TRUE(memory);
        return;
    }
    Check(a.start,
          fault == Fault::kThread ? std::initializer_list<int>{99} : std::initializer_list<int>{0},
          "start");
    if (a.start == 0) {
        const std::initializer_list<int> small = {0, memory ? 99 : 0};
        Check(a.parameters, small, "setParameters");
        Check(a.startPreview, small, "startPreview");
        // Without startPreview there is no preview, without setParameters no effect.
        const int refusal = a.startPreview == 0 ? 2 : -1;
        if (road == Road::kPreview) {
            Check(a.first, {0, refusal, memory ? 99 : 0}, "the first frame");
            Check(a.second, {0, refusal, memory ? 99 : 0}, "the second frame");
            CheckPicture(a.first, fault, m_pictures.frame, m_pictures.frameBefore, m_frameAfter);
            CheckPicture(a.second, fault, m_pictures.second, m_pictures.frameBefore, m_frameAfter);
        } else {
            Check(a.capture, {0, 3, memory ? 99 : 0}, "the capture");
            CheckPicture(a.capture, fault, m_pictures.image, m_pictures.imageBefore, m_imageAfter);
        }
    }
    const int last = a.start != 0 ? a.start : road == Road::kPreview ? a.first : a.capture;
    ++m_statuses[std::string(NameOf(fault)) + " " + std::to_string(last)];

    // The same service, once the fault is gone; what only a start makes needs a new start.
    if (fault == Fault::kDisplay || fault == Fault::kContext || memory) service->stop();
    m_pictures.Refill();
    const Answers again = Drive(service, parameters, road, m_pictures);
    EXPECT_EQ(again.start, 0);
    EXPECT_EQ(again.parameters, 0);
    EXPECT_EQ(again.startPreview, 0);
    if (road == Road::kPreview) {
        EXPECT_EQ(again.first, 0);
        EXPECT_EQ(again.second, 0);
        EXPECT_TRUE(Same(m_pictures.frame, m_frameAfter));
        EXPECT_TRUE(Same(m_pictures.second, m_frameAfter));
    } else {
        EXPECT_EQ(again.capture, 0);
        EXPECT_TRUE(Same(m_pictures.image, m_imageAfter));
    }
    EXPECT_EQ(service->stop(), 0);
    destroyPostEffect(service);
    // A failed link leaves its two shaders to the context, a program that is not made too.
    const bool leaves = fault == Fault::kLinkStatus || fault == Fault::kProgram;
    ExpectNothingLeft(leaves ? 2 * injected : 0);
}

// By default one call of each kind with each effect and road, another one each time.
TEST_F(Faults, EachCallFailsOnceAndForGood) {
    const auto started = std::chrono::steady_clock::now();
    const int one = EffectToSweep();
    std::array<long, kFaultCount> seen{};
    for (int effect = 0; effect < static_cast<int>(posteffect::kEffectCount); ++effect) {
        if (one >= 0 && effect != one) continue;
        for (const Road road : {Road::kPreview, Road::kCapture}) {
            std::array<long, kFaultCount> calls{};
            const android::String8 parameters = ParametersOf(effect);
            m_pictures.Refill();
            {
                const FaultPlan plan;
                IPostEffect* service = createPostEffect();
                Drive(service, parameters, road, m_pictures);
                for (std::size_t i = 0; i < kFaultCount; ++i) {
                    calls[i] = FaultPlan::Calls(static_cast<Fault>(i));
                }
                service->stop();
                destroyPostEffect(service);
            }
            m_frameAfter = m_pictures.frame.bytes();
            m_imageAfter = m_pictures.image.bytes();
            EXPECT_EQ(road == Road::kPreview ? Same(m_pictures.second, m_pictures.frameBefore)
                                             : Same(m_pictures.image, m_pictures.imageBefore),
                      effect == 0);
            for (std::size_t i = 0; i < kFaultCount; ++i) {
                seen[i] += calls[i];
                const long most = std::min(calls[i], kMostCalls);
                const long turn =
                    most > 0 ? 1 + (effect * 7 + (road == Road::kCapture ? 3 : 0)) % most : 0;
                for (long nth = 1; nth <= most; ++nth) {
                    if (one < 0 && (nth != turn || SkipsHere(effect, i))) continue;
                    const bool first = effect % 2 == 0;
                    for (const bool lasting : {false, true}) {
                        if (one < 0 && lasting == first) continue;
                        Sweep(effect, road, static_cast<Fault>(i), lasting, nth);
                        if (HasFatalFailure()) return;
                    }
                }
            }
        }
    }
    for (std::size_t i = 0; i < kFaultCount; ++i) {
        // Not every effect reads files.
        EXPECT_TRUE(seen[i] > 0 || one >= 0)
            << NameOf(static_cast<Fault>(i)) << " was never called";
        std::printf("%-14s %6ld calls;", NameOf(static_cast<Fault>(i)), seen[i]);
        for (const auto& [key, count] : m_statuses) {
            const std::string name = std::string(NameOf(static_cast<Fault>(i))) + " ";
            if (key.rfind(name, 0) != 0) continue;
            std::printf(" status %s: %d", key.c_str() + name.size(), count);
        }
        std::printf("\n");
    }
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - started;
    std::printf("%ld points in %.1f s\n", m_points, spent.count());
}

TEST(ExportedFunctions, AnswerWhenTheirMemoryFails) {
    PostEffectRenderer renderer{};
    std::array<char, 256> path{};
    ASSERT_EQ(describeRenderer(&renderer), 0);
    ASSERT_EQ(findLookUpFile("CurveCross.bmp", path.data(), path.size()), 0);
    const auto run = [&] {
        const bool described = describeRenderer(&renderer) == 0;
        const bool found = findLookUpFile("CurveCross.bmp", path.data(), path.size()) == 0;
        return std::pair(described, found);
    };
    for (const Fault fault : {Fault::kNew, Fault::kThread, Fault::kDisplay, Fault::kContext}) {
        SCOPED_TRACE(NameOf(fault));
        long calls = 0;
        {
            const FaultPlan plan;
            run();
            calls = FaultPlan::Calls(fault);
        }
        // Threads of the C++ library are not made by calls of ours.
        if (fault != Fault::kThread) {
            EXPECT_GT(calls, 0);
        }
        for (long nth = 1; nth <= calls; ++nth) {
            bool described = false;
            {
                const FaultPlan plan(fault, nth, true);
                described = run().first;
            }
            if (!described) {
                EXPECT_STREQ(renderer.renderer, "");
            }
            EXPECT_EQ(run(), std::pair(true, true)) << "call " << nth;
        }
    }
}

#ifndef __SANITIZE_ADDRESS__  // whose shadow needs the address space
// What went wrong, or 0. Ends the process.
[[noreturn]] void CaptureInLittleRoom() {
    alarm(60);
    static bool driverSaidSo = false;
    __android_log_set_sink([](int, const char*, const char* text) {
        driverSaidSo = driverSaidSo || std::strstr(text, "GL_OUT_OF_MEMORY") != nullptr;
    });
    const rlimit room = {rlim_t{1200} << 20, rlim_t{1200} << 20};
    if (setrlimit(RLIMIT_AS, &room) != 0) _exit(10);
    IPostEffect* service = createPostEffect();
    if (service == nullptr || service->start() != 0) _exit(11);
    service->setParameters(ParametersOf(4));
    service->startPreview(kWidth, kHeight);
    CaptureImage image(kImageWidth, kImageHeight);
    image.FillScene(1);
    const std::vector<uint8_t> before = image.bytes();
    const auto capture = [&] {
        return service->handleCapture(kImageWidth, kImageHeight, -1, image.data(), 0,
                                      image.chromaOffset());
    };
    if (capture() != 0) _exit(12);
    // Such blocks take more than there is; which of their buffers and targets is the first that
    // does not fit depends on what else lies in memory.
    for (const int side : {8192, 9000, 10000, 12000, 16384}) {
        image.FillScene(1);
        service->startPreview(side, side);
        if (capture() != 3) _exit(13);
        if (!Same(image, before)) _exit(14);
        service->startPreview(kWidth, kHeight);
        if (capture() != 0) _exit(15);
        if (Same(image, before)) _exit(16);
    }
    service->stop();
    destroyPostEffect(service);
    _exit(driverSaidSo ? 0 : 17);
}

// The driver itself runs out of memory; in a process of its own, begun anew.
TEST(OutOfMemory, RefusesTheCaptureAndWorksAgain) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(CaptureInLittleRoom(), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
