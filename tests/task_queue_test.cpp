// The queue's promises, with handlers of the test's own.
#include "service/TaskQueue.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "tests/support/LogCapture.h"

namespace {
// How many thread creations to let pass before one fails; negative: none fails.
std::atomic<int> gCreationsUntilFailure{-1};
std::atomic<int> gCreationsSeen{0};
}  // namespace

// Stands before the C library's, for this executable.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attr,
                                                                     void* (*entry)(void*),
                                                                     void* argument) {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto real = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    ++gCreationsSeen;
    if (gCreationsUntilFailure >= 0 && gCreationsUntilFailure-- == 0) {
        *thread = 42;  // what a real failure may leave behind
        return EAGAIN;
    }
    return real(thread, attr, entry, argument);
}

namespace tessera {

// Reaches what only tests may touch.
class TaskQueuePeer {
  public:
    static void WakeWorkerWithoutTask(TaskQueue& queue) {
        const Lock lock(queue.m_lock);
        queue.m_wakeUp.Signal();
    }
    static int waiting(TaskQueue& queue) {
        const Lock lock(queue.m_lock);
        return queue.m_queueCount;
    }
    static int pooled(TaskQueue& queue) {
        const Lock lock(queue.m_lock);
        return queue.m_poolCount;
    }
};

}  // namespace tessera

namespace {

using tessera::GPUTask;
using tessera::TaskQueue;
using tessera::TaskQueuePeer;
using testing_support::LogCapture;

constexpr auto kDeadline = std::chrono::seconds(20);

// A queue whose worker runs a handler that tests can hold up.
class Worker {
  public:
    ~Worker() {
        Open();
        queue.stop([] {});
    }
    int start() { return queue.start(Entry, this); }

    // The next handler calls wait until Open.
    void Close() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open = false;
    }
    void Open() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }
    // Until so many handler calls have begun.
    bool WaitForCalls(int calls) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kDeadline, [&] { return m_calls >= calls; });
    }
    // A call of this kind, which the handler answers with kind * 10.
    int Call(int kind) {
        GPUTask* task = queue.getTask();
        task->kind = kind;
        return queue.runTask(task);
    }
    std::future<int> CallAside(int kind) {
        return std::async(std::launch::async, [this, kind] { return Call(kind); });
    }
    std::vector<int> order() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_order;
    }

    TaskQueue queue;

  private:
    static void* Entry(void* self) {
        auto* worker = static_cast<Worker*>(self);
        worker->queue.Serve([worker](GPUTask* task) { return worker->Handle(task->kind); });
        return nullptr;
    }
    int Handle(int kind) {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_calls;
        m_order.push_back(kind);
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_open; });
        return kind * 10;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = true;
    int m_calls = 0;
    std::vector<int> m_order;
};

bool Until(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

int ResultOf(std::future<int>& call) {
    if (call.wait_for(kDeadline) != std::future_status::ready) {
        ADD_FAILURE() << "a caller was never released";
        std::abort();  // its thread cannot be ended otherwise
    }
    return call.get();
}

TEST(TaskQueue, RunsTasksInOrderAndGivesEachCallerItsResult) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    ASSERT_EQ(worker.start(), 0);
    for (int kind = 0; kind < 50; ++kind) EXPECT_EQ(worker.Call(kind), kind * 10);
    EXPECT_EQ(TaskQueuePeer::pooled(worker.queue), 1) << "one caller needs one record";
}

TEST(TaskQueue, LetsTwoWaitAndRefusesTheThird) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    worker.Close();
    std::future<int> running = worker.CallAside(1);
    ASSERT_TRUE(worker.WaitForCalls(1));
    std::future<int> first = worker.CallAside(2);
    ASSERT_TRUE(Until([&] { return TaskQueuePeer::waiting(worker.queue) == 1; }));
    std::future<int> second = worker.CallAside(3);
    ASSERT_TRUE(Until([&] { return TaskQueuePeer::waiting(worker.queue) == 2; }));
    const LogCapture log;
    EXPECT_EQ(worker.Call(4), 99);
    EXPECT_TRUE(
        log.contains("ORBIT:GM: bool tessera::GPUPostEffect::put(tessera::GPUPostEffect::GPUTask*)"
                     ": queue overflow."));
    worker.Open();
    EXPECT_EQ(ResultOf(running), 10);
    EXPECT_EQ(ResultOf(first), 20);
    EXPECT_EQ(ResultOf(second), 30);
    EXPECT_EQ(worker.order(), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(TaskQueuePeer::pooled(worker.queue), 3);
    EXPECT_TRUE(
        log.contains("ORBIT:GM: void tessera::GPUPostEffect::destroyTask(tessera::"
                     "GPUPostEffect::GPUTask*): destroyTask pool overflow."))
        << "four records were out, three are kept";
}

TEST(TaskQueue, StopCancelsWhatWaitsAndStartBeginsAfresh) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    worker.Close();
    std::future<int> running = worker.CallAside(1);
    ASSERT_TRUE(worker.WaitForCalls(1));
    std::future<int> first = worker.CallAside(2);
    ASSERT_TRUE(Until([&] { return TaskQueuePeer::waiting(worker.queue) == 1; }));
    std::future<int> second = worker.CallAside(3);
    ASSERT_TRUE(Until([&] { return TaskQueuePeer::waiting(worker.queue) == 2; }));

    const LogCapture log;
    bool joined = false;
    auto stopping =
        std::async(std::launch::async, [&] { return worker.queue.stop([&] { joined = true; }); });
    ASSERT_TRUE(Until([&] { return TaskQueuePeer::waiting(worker.queue) == 3; })) << "the token";
    EXPECT_EQ(worker.Call(4), 1) << "put while stopping";
    auto secondStop = std::async(std::launch::async, [&] { return worker.queue.stop([] {}); });
    auto startAgain = std::async(std::launch::async, [&] { return worker.start(); });
    worker.Open();
    EXPECT_EQ(ResultOf(running), 10) << "what runs is finished";
    EXPECT_EQ(ResultOf(first), 1);
    EXPECT_EQ(ResultOf(second), 1);
    EXPECT_EQ(ResultOf(stopping), 0);
    EXPECT_EQ(ResultOf(secondStop), 0);
    EXPECT_EQ(ResultOf(startAgain), 0);
    EXPECT_TRUE(joined);
    EXPECT_TRUE(
        log.contains("ORBIT:GM: tessera::GPUPostEffect::GPUTask* tessera::GPUPostEffect::"
                     "get(): cancel 2 tasks."));
    ASSERT_EQ(worker.start(), 0);
    EXPECT_EQ(worker.Call(5), 50);
    EXPECT_EQ(worker.order(), (std::vector<int>{1, 5}));
}

TEST(TaskQueue, AnUnderflowEndsTheWorkerAndStopReleasesWhoWaits) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    const LogCapture log;
    // The worker may not have begun to wait; then a signal is lost.
    ASSERT_TRUE(Until([&] {
        TaskQueuePeer::WakeWorkerWithoutTask(worker.queue);
        return TaskQueuePeer::waiting(worker.queue) == -1;
    }));
    EXPECT_TRUE(
        log.contains("ORBIT:GM: tessera::GPUPostEffect::GPUTask* tessera::GPUPostEffect::"
                     "get(): queue underflow."));
    EXPECT_EQ(worker.start(), 0) << "the handle is still there";
    std::future<int> first = worker.CallAside(1);
    ASSERT_TRUE(Until([&] { return TaskQueuePeer::waiting(worker.queue) == 1; }));
    std::future<int> second = worker.CallAside(2);
    ASSERT_TRUE(Until([&] { return TaskQueuePeer::waiting(worker.queue) == 2; }));
    EXPECT_EQ(worker.Call(3), 99);
    EXPECT_EQ(worker.queue.stop([] {}), 0);
    EXPECT_EQ(ResultOf(first), 1);
    EXPECT_EQ(ResultOf(second), 1);
    ASSERT_EQ(worker.start(), 0);
    EXPECT_EQ(worker.Call(4), 40);
}

TEST(TaskQueue, ASpuriousWakeUpReleasesNoCaller) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    worker.Close();
    GPUTask* task = worker.queue.getTask();
    task->kind = 7;
    std::future<int> call =
        std::async(std::launch::async, [&] { return worker.queue.runTask(task); });
    ASSERT_TRUE(worker.WaitForCalls(1));
    for (int i = 0; i < 1000; ++i) {
        const tessera::Lock lock(task->lock);
        task->done.Broadcast();
    }
    EXPECT_EQ(call.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    worker.Open();
    EXPECT_EQ(ResultOf(call), 70);
}

TEST(TaskQueue, AFailedThreadCreationLeavesNoWorker) {
    Worker worker;
    const int seen = gCreationsSeen;
    gCreationsUntilFailure = 0;
    EXPECT_EQ(worker.start(), 99);
    EXPECT_EQ(gCreationsSeen, seen + 1) << "the creation did not come through here";
    EXPECT_EQ(worker.queue.stop([] {}), 0) << "nothing to join";
    EXPECT_EQ(worker.start(), 0);
    EXPECT_EQ(worker.Call(1), 10);
}

TEST(TaskQueue, ManyCallersAndRandomStopsLeaveEveryCallWithAResult) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    constexpr int kCallers = 8;
    constexpr int kCalls = 2000;
    std::atomic<int> wrong{0};
    std::atomic<int> finished{0};
    std::vector<std::thread> callers;
    for (int i = 0; i < kCallers; ++i) {
        callers.emplace_back([&, i] {
            for (int call = 0; call < kCalls; ++call) {
                const int result = worker.Call(i + 10);
                if (result != (i + 10) * 10 && result != 1 && result != 99) ++wrong;
            }
            ++finished;
        });
    }
    std::mt19937 random(1);
    const auto end = std::chrono::steady_clock::now() + 3 * kDeadline;
    while (finished < kCallers) {
        // A stopped queue is started again at once: callers may have queued meanwhile.
        EXPECT_EQ(worker.queue.stop([] {}), 0);
        EXPECT_EQ(worker.start(), 0);
        for (auto i = random() % 500; i > 0; --i) std::this_thread::yield();
        if (std::chrono::steady_clock::now() > end) {
            ADD_FAILURE() << "callers hang";
            std::abort();
        }
    }
    for (std::thread& caller : callers) caller.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_LE(TaskQueuePeer::pooled(worker.queue), 3);
}

}  // namespace
