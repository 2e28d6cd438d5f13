// The queue's promises, with handlers of the test's own.
#include "service/TaskQueue.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/LogCapture.h"

namespace {
std::atomic<bool> gFailNextCreation{false};
std::atomic<int> gCreations{0};
}  // namespace

// Stands before the C library's, for this executable.
extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
    void* argument) noexcept {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto real = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    ++gCreations;
    if (gFailNextCreation.exchange(false)) {
        *thread = 42;  // what a real failure may leave behind
        return EAGAIN;
    }
    return real(thread, attributes, entry, argument);
}

namespace tessera {

// Reaches what only tests may touch.
class TaskQueuePeer {
  public:
    static void WakeWorkerWithoutTask(TaskQueue& queue) {
        const Lock lock(queue.m_lock);
        queue.m_wakeUp.Signal();
    }
    static int count(TaskQueue& queue) {
        const Lock lock(queue.m_lock);
        return queue.m_queueCount;
    }
};

}  // namespace tessera

namespace {

using tessera::GPUTask;
using tessera::TaskQueue;
using tessera::TaskQueuePeer;
using testing_support::LogCapture;

const std::string kGet =
    "ORBIT:GM: tessera::GPUPostEffect::GPUTask* tessera::GPUPostEffect::get(): ";
const std::string kPut =
    "ORBIT:GM: bool tessera::GPUPostEffect::put(tessera::GPUPostEffect::GPUTask*): ";
const std::string kDestroyTask =
    "ORBIT:GM: void tessera::GPUPostEffect::destroyTask(tessera::GPUPostEffect::GPUTask*): ";

void Until(const std::function<bool()>& condition) {
    while (!condition()) std::this_thread::yield();
}

// A queue whose worker runs a handler that tests can hold up.
class Worker {
  public:
    ~Worker() {
        Open();
        stop();
    }

    int start() { return queue.start(Entry, this); }
    int stop() {
        return queue.stop([] {});
    }
    // Handler calls wait until Open.
    void Close() { SetOpen(false); }
    void Open() { SetOpen(true); }
    // A call of this kind, which the handler answers with kind * 10.
    int Call(int kind) {
        GPUTask* task = queue.getTask();
        task->kind = kind;
        return queue.runTask(task);
    }
    std::future<int> CallAside(int kind) {
        return std::async(std::launch::async, [this, kind] { return Call(kind); });
    }
    void UntilCounted(int count) {
        Until([&] { return TaskQueuePeer::count(queue) == count; });
    }
    // Kinds that the handler has been called with.
    std::vector<int> handled() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_handled;
    }
    // Workers that have ended.
    int ended() const { return m_ended; }

    TaskQueue queue;

  private:
    static void* Entry(void* self) {
        auto* worker = static_cast<Worker*>(self);
        worker->queue.Serve([worker](GPUTask* task) { return worker->Handle(task->kind); });
        ++worker->m_ended;
        return nullptr;
    }
    int Handle(int kind) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_handled.push_back(kind);
        m_changed.wait(lock, [this] { return m_open; });
        return kind * 10;
    }
    void SetOpen(bool open) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open = open;
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = true;
    std::vector<int> m_handled;
    std::atomic<int> m_ended{0};
};

// A test that hangs is ended by SIGALRM.
class TaskQueueTest : public testing::Test {
  protected:
    TaskQueueTest() { alarm(60); }
    ~TaskQueueTest() override { alarm(0); }
};

// Kind 1 in the handler until the worker is opened, 2 and 3 waiting.
struct FullQueue {
    explicit FullQueue(Worker& worker) {
        worker.Close();
        running = worker.CallAside(1);
        Until([&] { return worker.handled() == std::vector<int>{1}; });
        first = worker.CallAside(2);
        worker.UntilCounted(1);
        second = worker.CallAside(3);
        worker.UntilCounted(2);
    }

    std::future<int> running;
    std::future<int> first;
    std::future<int> second;
};

TEST_F(TaskQueueTest, ADoubleStartMakesOneThreadAndAStopWithoutOneDoesNothing) {
    Worker worker;
    EXPECT_EQ(worker.stop(), 0);
    const int creations = gCreations;
    EXPECT_EQ(worker.start(), 0);
    EXPECT_EQ(worker.start(), 0);
    EXPECT_EQ(gCreations, creations + 1);
    EXPECT_EQ(worker.Call(1), 10);
    EXPECT_EQ(worker.stop(), 0);
    EXPECT_EQ(worker.ended(), 1);
    EXPECT_EQ(worker.stop(), 0);
}

TEST_F(TaskQueueTest, TasksPutBeforeTheStartAreRunByIt) {
    Worker worker;
    std::future<int> early = worker.CallAside(1);
    worker.UntilCounted(1);
    EXPECT_EQ(worker.stop(), 0) << "without a worker there is nothing to cancel";
    ASSERT_EQ(worker.start(), 0);
    EXPECT_EQ(early.get(), 10);
}

TEST_F(TaskQueueTest, LetsTwoWaitRefusesTheThirdAndKeepsTheOrder) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    const LogCapture log;
    FullQueue calls(worker);
    EXPECT_EQ(worker.Call(4), 99);
    EXPECT_TRUE(log.contains(kPut + "queue overflow."));
    worker.Open();
    EXPECT_EQ(calls.running.get(), 10);
    EXPECT_EQ(calls.first.get(), 20);
    EXPECT_EQ(calls.second.get(), 30);
    EXPECT_EQ(worker.handled(), (std::vector<int>{1, 2, 3}));
}

TEST_F(TaskQueueTest, KeepsThreeIdleRecordsAndHandsOutTheLastUsedFirst) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    std::vector<GPUTask*> records(4);
    std::generate(records.begin(), records.end(), [&] { return worker.queue.getTask(); });
    const LogCapture log;
    const std::string overflow = kDestroyTask + "destroyTask pool overflow.";
    for (int i = 0; i < 4; ++i) {
        EXPECT_FALSE(log.contains(overflow)) << i;
        worker.queue.runTask(records[static_cast<std::size_t>(i)]);
    }
    EXPECT_TRUE(log.contains(overflow));
    for (const int i : {2, 1, 0}) {
        GPUTask* record = worker.queue.getTask();
        EXPECT_EQ(record, records[static_cast<std::size_t>(i)]);
        delete record;
    }
}

TEST_F(TaskQueueTest, StopFinishesTheRunningTaskAndCancelsTheWaitingOnes) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    const LogCapture log;
    FullQueue calls(worker);
    int endedWhenJoined = -1;
    std::future<int> stop = std::async(std::launch::async, [&] {
        return worker.queue.stop([&] { endedWhenJoined = worker.ended(); });
    });
    worker.UntilCounted(3);  // the token
    EXPECT_EQ(worker.Call(4), 1) << "put while stopping";
    worker.Open();
    EXPECT_EQ(calls.running.get(), 10);
    EXPECT_EQ(calls.first.get(), 1);
    EXPECT_EQ(calls.second.get(), 1);
    EXPECT_EQ(stop.get(), 0);
    EXPECT_EQ(endedWhenJoined, 1);
    EXPECT_TRUE(log.contains(kGet + "cancel 2 tasks."));
    ASSERT_EQ(worker.start(), 0);
    EXPECT_EQ(worker.Call(5), 50);
    EXPECT_EQ(worker.handled(), (std::vector<int>{1, 5}));
}

TEST_F(TaskQueueTest, ASecondStopAndAStartWaitForTheStopThatIsUnderWay) {
    for (const bool starts : {false, true}) {
        SCOPED_TRACE(starts ? "start" : "stop");
        Worker worker;
        ASSERT_EQ(worker.start(), 0);
        worker.Close();
        std::future<int> running = worker.CallAside(1);
        Until([&] { return !worker.handled().empty(); });
        std::future<int> stop = std::async(std::launch::async, [&] { return worker.stop(); });
        worker.UntilCounted(1);
        std::future<int> other =
            std::async(std::launch::async, [&] { return starts ? worker.start() : worker.stop(); });
        // It cannot come back before Open, however long that is put off.
        EXPECT_EQ(other.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
        worker.Open();
        EXPECT_EQ(other.get(), 0);
        EXPECT_EQ(worker.ended(), 1);
        EXPECT_EQ(stop.get(), 0);
        EXPECT_EQ(running.get(), 10);
        if (starts) {
            EXPECT_EQ(worker.Call(2), 20) << "a new worker";
        }
    }
}

TEST_F(TaskQueueTest, AnUnderflowEndsTheWorkerAndStopReleasesWhoWaits) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    const LogCapture log;
    // A signal is lost while the worker has not begun to wait.
    Until([&] {
        TaskQueuePeer::WakeWorkerWithoutTask(worker.queue);
        return TaskQueuePeer::count(worker.queue) == -1;
    });
    Until([&] { return worker.ended() == 1; });
    EXPECT_TRUE(log.contains(kGet + "queue underflow."));
    std::future<int> first = worker.CallAside(1);
    worker.UntilCounted(1);
    std::future<int> second = worker.CallAside(2);
    worker.UntilCounted(2);
    EXPECT_EQ(worker.Call(3), 99);
    EXPECT_EQ(worker.start(), 0) << "the old worker has not been joined yet";
    EXPECT_EQ(worker.stop(), 0);
    EXPECT_EQ(first.get(), 1);
    EXPECT_EQ(second.get(), 1);
    EXPECT_EQ(worker.handled(), std::vector<int>{});
    ASSERT_EQ(worker.start(), 0);
    EXPECT_EQ(worker.Call(4), 40);
}

TEST_F(TaskQueueTest, AResultStoredBeforeItsCallerWaitsIsNotWaitedFor) {
    GPUTask task;
    for (const int result : {5, 7}) {  // a recycled record serves again
        task.Complete(result);
        EXPECT_EQ(task.Await(), result);
    }
}

TEST_F(TaskQueueTest, SpuriousWakeUpsReleaseNoCaller) {
    Worker worker;
    ASSERT_EQ(worker.start(), 0);
    worker.Close();
    GPUTask* task = worker.queue.getTask();
    task->kind = 7;
    std::future<int> call =
        std::async(std::launch::async, [&] { return worker.queue.runTask(task); });
    Until([&] { return !worker.handled().empty(); });
    // Long enough for the caller to have begun to wait.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
    Until([&] {
        task->done.Broadcast();
        return std::chrono::steady_clock::now() > end;
    });
    EXPECT_EQ(call.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    worker.Open();
    EXPECT_EQ(call.get(), 70);
}

TEST_F(TaskQueueTest, AFailedThreadCreationLeavesNoWorker) {
    Worker worker;
    const int creations = gCreations;
    gFailNextCreation = true;
    EXPECT_EQ(worker.start(), 99);
    EXPECT_EQ(gCreations, creations + 1) << "the creation did not come through here";
    EXPECT_EQ(worker.stop(), 0) << "nothing to join";
    EXPECT_EQ(worker.start(), 0);
    EXPECT_EQ(worker.Call(1), 10);
}

}  // namespace
