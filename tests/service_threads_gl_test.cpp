// Several services, and several callers of one, at once.
#include <EGL/egl.h>
#include <gtest/gtest.h>
#include <posteffect/PostEffect.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/Display.h"
#include "tests/support/CaptureImage.h"
#include "tests/support/Service.h"

namespace {

using namespace testing_support;

const char* ParametersFor(int which) {
    return which == 0 ? "GPU-effect=4;GE-param0=50,0,0,0;GE-param1=480,272,912,272"
                      : "GPU-effect=4;GE-param0=100,0,0,0;GE-param1=100,400,600,272";
}

// A few frames and captures of one service, and what they became.
std::vector<std::vector<uint8_t>> Work(int which) {
    std::vector<std::vector<uint8_t>> results;
    const Service service;
    const int width = which == 0 ? 128 : 96;
    EXPECT_EQ(service.Choose(ParametersFor(which)), 0);
    EXPECT_EQ(service->startPreview(width, 64), 0);
    for (unsigned i = 0; i < 4; ++i) {
        CaptureImage frame = CaptureImage::Natural(width, 64, i);
        EXPECT_EQ(service->setCrop(0, 0, width, 64), 0);
        EXPECT_EQ(service.Preview(frame), 0);
        results.push_back(frame.bytes());
        CaptureImage image = CaptureImage::Natural(200, 120, i);
        EXPECT_EQ(service->setCrop(0, 0, 200, 120), 0);
        EXPECT_EQ(service.Capture(image), 0);
        results.push_back(image.bytes());
    }
    return results;
}

TEST(Services, TwoAtOnceGiveTheBytesThatEachGivesAlone) {
    const auto first = Work(0);
    const auto second = Work(1);
    for (int round = 0; round < 3; ++round) {
        std::vector<std::vector<uint8_t>> firstAgain;
        std::thread other([&] { firstAgain = Work(0); });
        const auto secondAgain = Work(1);
        other.join();
        EXPECT_EQ(firstAgain, first);
        EXPECT_EQ(secondAgain, second);
    }
}

TEST(Services, CallsFromAnyThreadInAnyOrderEndWithAStatus) {
    const Service service;
    service.Choose(ParametersFor(0));
    service->startPreview(64, 48);
    std::atomic<int> unknown{0};
    std::vector<std::thread> callers;
    for (unsigned seed = 0; seed < 4; ++seed) {
        callers.emplace_back([&, seed] {
            std::mt19937 random(seed);
            CaptureImage image(64, 48);
            const std::function<int()> calls[] = {
                [&] { return service.Choose(ParametersFor(0)); },
                [&] { return service.Choose(ParametersFor(1)); },
                [&] { return service->startPreview(64, 48); },
                [&] { return service->startPreview(32, 48); },
                [&] { return service->setCrop(0, 0, 32, 48); },
                [&] { return service->stopPreview(); },
                [&] { return service.Capture(image); },
                [&] { return service.Preview(image); },
            };
            for (int i = 0; i < 60; ++i) {
                const int result = calls[random() % std::size(calls)]();
                if ((result < -1 || result > 3) && result != 99) ++unknown;
            }
        });
    }
    // Stops and starts from here while the callers call; a stopped service is started again, so
    // that nobody waits for a worker for ever.
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(service->stop(), 0);
        EXPECT_EQ(service->start(), 0);
    }
    for (std::thread& caller : callers) caller.join();
    EXPECT_EQ(unknown, 0);
}

// One process of the test below: it ends while a service renders.
TEST(Services, DISABLED_ExitsInTheMiddleOfAFrame) {
    const int delay = std::atoi(std::getenv("POSTEFFECT_EXIT_AFTER"));
    IPostEffect* service = createPostEffect();
    service->start();
    static std::atomic<bool> drawn{false};
    std::thread([service] {
        CaptureImage frame(64, 48);
        service->setParameters(android::String8(ParametersFor(0)));
        service->startPreview(64, 48);
        for (;; drawn = true) service->handlePreview(-1, frame.data(), 0);
    }).detach();
    // While the driver is loaded, only the threads that made or started services may end it all.
    const bool elsewhere = std::getenv("POSTEFFECT_EXIT_ELSEWHERE") != nullptr;
    while (elsewhere && !drawn) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds(delay));
    if (elsewhere) std::thread([] { std::exit(0); }).join();
    std::exit(0);
}

// POSTEFFECT_EXITS=500 for the whole of it.
TEST(Services, AProcessMayEndWithALiveService) {
    const char* asked = std::getenv("POSTEFFECT_EXITS");
    const int exits = asked != nullptr ? std::atoi(asked) : 6;
    std::mt19937 random(1);
    for (int i = 0; i < exits; ++i) {
        const std::string delay = std::to_string(random() % 50000);
        setenv("POSTEFFECT_EXIT_AFTER", delay.c_str(), 1);
        // Every other one from a thread that knows nothing of services.
        i % 2 == 0 ? unsetenv("POSTEFFECT_EXIT_ELSEWHERE")
                   : setenv("POSTEFFECT_EXIT_ELSEWHERE", "1", 1);
        char program[] = "/proc/self/exe";
        char filter[] = "--gtest_filter=*DISABLED_ExitsInTheMiddleOfAFrame";
        char disabled[] = "--gtest_also_run_disabled_tests";
        char brief[] = "--gtest_brief=1";
        char* arguments[] = {program, filter, disabled, brief, nullptr};
        pid_t child = 0;
        ASSERT_EQ(posix_spawn(&child, program, nullptr, nullptr, arguments, environ), 0);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << "exit " << i << " of " << exits << " after " << delay << " us";
    }
}

#ifndef __SANITIZE_ADDRESS__  // the driver loses blocks of its own then
// Somebody else in the process terminates the display that the worker draws with. Contexts that are
// current live on, so frames go on; whatever needs a new context or a rebuild finds the display
// back.
TEST(Services, ADisplayThatIsTerminatedUnderneathComesBack) {
    const Service service;
    ASSERT_EQ(service.Choose(ParametersFor(0)), 0);
    ASSERT_EQ(service->startPreview(64, 48), 0);
    CaptureImage original(64, 48);
    const auto preview = [&] {
        CaptureImage frame(64, 48);
        const int status = service.Preview(frame);
        // Done, or reported with the frame as it was.
        EXPECT_EQ(frame.bytes() != original.bytes(), status == 0) << status;
        return status;
    };
    ASSERT_EQ(preview(), 0);
    int reported = 0;
    for (int i = 0; i < 20; ++i) {
        eglTerminate(platform::GetDisplay());
        reported += preview() != 0 ? 1 : 0;
        CaptureImage image(64, 48);
        reported += service.Capture(image) != 0 ? 1 : 0;
        EXPECT_EQ(preview(), 0) << i;
        if (i % 4 == 3) {
            EXPECT_EQ(service->stop(), 0);
            EXPECT_EQ(service->start(), 0);
            EXPECT_EQ(service->startPreview(64, 48), 0);
        }
    }
    std::printf("%d of 40 calls right after a termination were refused\n", reported);
}
#endif

}  // namespace
