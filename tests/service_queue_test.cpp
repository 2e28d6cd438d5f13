// The whole service but its handlers: the public operations and the queue as they are, with
// handlers of the test's own, so that many calls from many threads take seconds.
//
// POSTEFFECT_CALLS=1000000 for more of them.
#include <gtest/gtest.h>
#include <posteffect/PostEffect.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "engine/GEManager.h"
#include "service/GPUPostEffect.h"
#include "tests/support/Service.h"

namespace {

using testing_support::Service;
using Task = tessera::GPUTask;

constexpr int kKinds = 6;
std::array<std::atomic<long>, kKinds> gHandled{};

// What a caller's frame is here. No atomics: ThreadSanitizer sees whether caller and worker take
// turns.
struct Frame {
    long touched = 0;
};

// One in eight tasks lets other threads run first.
void Jitter() {
    thread_local std::minstd_rand random(static_cast<unsigned>(getpid()));
    if (random() % 8 == 0) sched_yield();
}

int Handle(const Task& task, int* own) {
    Jitter();
    ++gHandled[static_cast<std::size_t>(task.kind)];
    // The service's own member: two workers of one service at once would be a race.
    ++*own;
    if (task.kind != Task::kHandlePreview && task.kind != Task::kHandleCapture) return 0;
    ++reinterpret_cast<Frame*>(tessera::AddressArgument(task.b1))->touched;
    // The caller chooses the status that it wants back.
    return static_cast<int>(task.b2);
}

}  // namespace

// The worker's side, in place of the GPU.
GEManager::GEManager() = default;
GEManager::~GEManager() {
    Deinit();
}
int GEManager::Deinit() {
    return 1;
}

namespace tessera {

int GPUPostEffect::setParameters(GPUTask* task) {
    mEffectNumber.store(task->parameters.effect, std::memory_order_relaxed);
    return Handle(*task, &mPreviewBytes);
}
int GPUPostEffect::startPreview(GPUTask* task) {
    mQueue.WriteLocked(mPreviewStarted, true);
    return Handle(*task, &mPreviewBytes);
}
int GPUPostEffect::stopPreview(GPUTask* task) {
    mQueue.WriteLocked(mPreviewStarted, false);
    return Handle(*task, &mPreviewBytes);
}
int GPUPostEffect::handlePreview(GPUTask* task) {
    return Handle(*task, &mPreviewBytes);
}
int GPUPostEffect::handleCapture(GPUTask* task) {
    return Handle(*task, &mPreviewBytes);
}
int GPUPostEffect::setCrop(GPUTask* task) {
    return Handle(*task, &mPreviewBytes);
}
void GPUPostEffect::releaseManager() {}
int GPUPostEffect::convertRect(void*, int, int, int, int, int, int) {
    return 1;
}

}  // namespace tessera

namespace {

constexpr char kVignette[] = "GPU-effect=4;GE-param0=50,0,0,0;GE-param1=480,272,912,272";

// How a call has ended. A passed one made no task: the preview is not running.
enum Ending { kDone, kRefused, kCancelled, kPassed, kUnknown, kEndings };
using Counts = std::array<long, kEndings>;

// `whenRun` is what the handler answers.
Ending EndingOf(int result, int whenRun) {
    if (result == kPostEffectBusy) return kRefused;
    if (result == kPostEffectCancelled) return kCancelled;
    if (result == kPostEffectNotStarted) return kPassed;
    return result == whenRun ? kDone : kUnknown;
}

// One caller: calls of all kinds, and the counts of how they ended.
class Caller {
  public:
    explicit Caller(unsigned seed) : m_random(seed) {}

    void Call(IPostEffect& service) {
        const int kind = static_cast<int>(m_random() % kKinds);
        const int wanted = m_random() % 2 != 0 ? 2 : 0;
        const long before = m_frame.touched;
        // In the order of their kinds.
        const std::function<int()> calls[kKinds] = {
            [&] { return service.setParameters(android::String8(kVignette)); },
            [&] { return service.startPreview(64, 48); },
            [&] { return service.handlePreview(-1, &m_frame, wanted); },
            [&] { return service.stopPreview(); },
            [&] { return service.handleCapture(64, 48, -1, &m_frame, wanted, 0); },
            [&] { return service.setCrop(0, 0, 32, 24); },
        };
        const int result = calls[kind]();
        const bool carriesFrame = kind == Task::kHandlePreview || kind == Task::kHandleCapture;
        const Ending ending = EndingOf(result, carriesFrame ? wanted : 0);
        ++tally[static_cast<std::size_t>(kind)][ending];
        if (m_frame.touched - before != (carriesFrame && ending == kDone ? 1 : 0)) ++wrong;
        // The embedder's threads may start and stop, too.
        if (m_random() % 256 == 0) wrong += service.stop() != 0 ? 1 : 0;
        if (m_random() % 128 == 0) wrong += service.start() != 0 ? 1 : 0;
    }

    std::array<Counts, kKinds> tally{};
    long wrong = 0;  // frames touched though the call did not run, or not touched once

  private:
    std::minstd_rand m_random;
    Frame m_frame;
};

using Seconds = std::chrono::duration<double>;

// Stops and starts until told to end. The longest stop.
Seconds RestartUntil(const std::atomic<bool>& ended, const std::vector<IPostEffect*>& services) {
    std::minstd_rand random(1);
    Seconds longest{0};
    while (!ended) {
        IPostEffect& service = *services[random() % services.size()];
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(service.stop(), 0);
        longest = std::max<Seconds>(longest, std::chrono::steady_clock::now() - before);
        // Calls wait for a worker meanwhile; callers may have stopped the other services.
        for (IPostEffect* each : services) EXPECT_EQ(each->start(), 0);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 1000));
    }
    return longest;
}

// A call that never ends is ended by SIGALRM.
class ServiceCalls : public testing::Test {
  protected:
    ServiceCalls() { alarm(300); }
    ~ServiceCalls() override { alarm(0); }
};
class ManyCalls : public ServiceCalls, public testing::WithParamInterface<int> {};

TEST_P(ManyCalls, EveryCallEndsOnceWhateverStopsAndStartsMeanwhile) {
    constexpr int kCallers = 8;
    constexpr Seconds kStopBound{2};
    const char* asked = std::getenv("POSTEFFECT_CALLS");
    const int calls = (asked != nullptr ? std::atoi(asked) : 100000) / kCallers;
    for (auto& handled : gHandled) handled = 0;

    std::vector<std::unique_ptr<Service>> owners;
    std::vector<IPostEffect*> services;
    for (int i = 0; i < GetParam(); ++i) {
        owners.push_back(std::make_unique<Service>());
        services.push_back(owners.back()->operator->());
        // From now on captures and crops are tasks, too.
        ASSERT_EQ(owners.back()->Choose("GPU-effect=4"), 0);
    }

    std::atomic<bool> ended{false};
    Seconds longest{0};
    std::thread restarter([&] { longest = RestartUntil(ended, services); });
    std::vector<Caller> states;
    for (unsigned i = 0; i < kCallers; ++i) states.emplace_back(i + 1);
    std::vector<std::thread> callers;
    for (Caller& caller : states) {
        callers.emplace_back([&] {
            for (int i = 0; i < calls; ++i) {
                caller.Call(*services[static_cast<std::size_t>(i) % services.size()]);
            }
        });
    }
    for (std::thread& caller : callers) caller.join();
    ended = true;
    restarter.join();

    Counts all{};
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        SCOPED_TRACE(kind);
        Counts sum{};
        for (std::size_t ending = 0; ending < kEndings; ++ending) {
            for (const Caller& caller : states) sum[ending] += caller.tally[kind][ending];
            all[ending] += sum[ending];
        }
        EXPECT_EQ(sum[kUnknown], 0);
        const long handled = gHandled[kind] - (kind == Task::kSetParameters ? GetParam() : 0);
        if (kind == Task::kStopPreview) {
            EXPECT_LE(handled, sum[kDone]) << "without a preview there is nothing to do";
        } else {
            EXPECT_EQ(handled, sum[kDone]) << "refused and cancelled tasks are never run";
        }
    }
    for (const Caller& caller : states) EXPECT_EQ(caller.wrong, 0);
    EXPECT_GT(all[kCancelled], 0);
    EXPECT_GT(all[kRefused], 0);
    EXPECT_LT(longest, kStopBound);
    std::printf(
        "%ld calls: %ld done, %ld refused, %ld cancelled, %ld passed; longest stop %.1f ms\n",
        std::accumulate(all.begin(), all.end(), 0L), all[kDone], all[kRefused], all[kCancelled],
        all[kPassed], longest.count() * 1000);
}

INSTANTIATE_TEST_SUITE_P(Services, ManyCalls, testing::Values(1, 2, 4));

// A wait that ended without a reason would end the worker: signals to the process must not.
TEST_F(ServiceCalls, SignalHandlersDoNotWakeTheWorker) {
    static std::atomic<long> signals{0};
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };  // and no SA_RESTART
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    const Service service;
    ASSERT_EQ(service->startPreview(64, 48), 0);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    // Here blocked, so that the worker gets them: it is the only other thread.
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &blocked, nullptr), 0);
    Frame frame;
    for (int i = 0; i < 20000; ++i) {
        kill(getpid(), SIGUSR1);
        if (i % 100 == 0) {
            ASSERT_EQ(service->handlePreview(-1, &frame, 0), 0);
        }
    }
    while (signals == 0) std::this_thread::yield();
    EXPECT_EQ(service->handlePreview(-1, &frame, 0), 0) << "the worker still serves";
    EXPECT_EQ(frame.touched, 201);
    ASSERT_EQ(pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr), 0);
    sigaction(SIGUSR1, &before, nullptr);
    std::printf("%ld signals handled by the worker\n", signals.load());
}

}  // namespace
