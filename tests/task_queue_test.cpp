// The queue's promises, with handlers of the test's own.
#include "service/TaskQueue.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
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

std::future<int> Aside(const std::function<int()>& call) {
    return std::async(std::launch::async, call);
}

using Calls = std::vector<std::future<int>>;

std::vector<int> Results(Calls calls) {
    std::vector<int> results;
    for (std::future<int>& call : calls) results.push_back(call.get());
    return results;
}

// A queue whose worker runs a handler that tests can hold up.
class Worker {
  public:
    ~Worker() {
        Open();
        stop();
    }

    int start() { return queue.start(Entry, this); }
    int stop(const std::function<void()>& whenJoined = [] {}) { return queue.stop(whenJoined); }
    // Handler calls wait until Open.
    void Close() { m_closed.lock(); }
    void Open() {
        if (m_closed.owns_lock()) m_closed.unlock();
    }
    // A call of this kind, which the handler answers with kind * 10.
    int Call(int kind) {
        GPUTask* task = queue.getTask();
        task->kind = kind;
        return queue.runTask(task);
    }
    std::future<int> CallAside(int kind) {
        return Aside([this, kind] { return Call(kind); });
    }
    void UntilCounted(int count) {
        Until([&] { return TaskQueuePeer::count(queue) == count; });
    }
    // A call of kind 1 that stays in the handler until Open.
    std::future<int> Occupy() {
        Close();
        std::future<int> call = CallAside(1);
        Until([&] { return handled() == std::vector<int>{1}; });
        return call;
    }
    // Calls of kinds 2 and 3 that wait.
    Calls Fill() {
        Calls calls;
        for (const int waiting : {1, 2}) {
            calls.push_back(CallAside(waiting + 1));
            UntilCounted(waiting);
        }
        return calls;
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
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_handled.push_back(kind);
        }
        const std::lock_guard<std::mutex> gate(m_gate);
        return kind * 10;
    }

    std::mutex m_gate;
    std::unique_lock<std::mutex> m_closed{m_gate, std::defer_lock};
    std::mutex m_mutex;
    std::vector<int> m_handled;
    std::atomic<int> m_ended{0};
};

// A test that hangs is ended by SIGALRM.
class TaskQueueTest : public testing::Test {
  protected:
    TaskQueueTest() { alarm(60); }
    ~TaskQueueTest() override { alarm(0); }
};

class StartedQueue : public TaskQueueTest {
  protected:
    StartedQueue() { EXPECT_EQ(worker.start(), 0); }

    Worker worker;
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

TEST_F(StartedQueue, LetsTwoWaitRefusesTheThirdAndKeepsTheOrder) {
    const LogCapture log;
    std::future<int> running = worker.Occupy();
    Calls waiting = worker.Fill();
    EXPECT_EQ(worker.Call(4), 99);
    EXPECT_TRUE(log.contains(kPut + "queue overflow."));
    worker.Open();
    EXPECT_EQ(running.get(), 10);
    EXPECT_EQ(Results(std::move(waiting)), (std::vector{20, 30}));
    EXPECT_EQ(worker.handled(), (std::vector<int>{1, 2, 3}));
}

TEST_F(StartedQueue, KeepsThreeIdleRecordsAndHandsOutTheLastUsedFirst) {
    std::array<GPUTask*, 4> records{};
    for (GPUTask*& record : records) record = worker.queue.getTask();
    const LogCapture log;
    const std::string overflow = kDestroyTask + "destroyTask pool overflow.";
    for (GPUTask* record : records) {
        EXPECT_FALSE(log.contains(overflow));
        worker.queue.runTask(record);
    }
    EXPECT_TRUE(log.contains(overflow));
    for (const std::size_t i : {2U, 1U, 0U}) {
        EXPECT_EQ(worker.queue.getTask(), records[i]);
        delete records[i];
    }
}

TEST_F(StartedQueue, StopFinishesTheRunningTaskAndCancelsTheWaitingOnes) {
    const LogCapture log;
    std::future<int> running = worker.Occupy();
    Calls waiting = worker.Fill();
    int endedWhenJoined = -1;
    std::future<int> stop =
        Aside([&] { return worker.stop([&] { endedWhenJoined = worker.ended(); }); });
    worker.UntilCounted(3);  // the token
    EXPECT_EQ(worker.Call(4), 1) << "put while stopping";
    worker.Open();
    EXPECT_EQ(running.get(), 10);
    EXPECT_EQ(Results(std::move(waiting)), (std::vector{1, 1}));
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
        std::future<int> running = worker.Occupy();
        std::future<int> stop = Aside([&] { return worker.stop(); });
        worker.UntilCounted(1);
        std::future<int> other = Aside([&] { return starts ? worker.start() : worker.stop(); });
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

TEST_F(StartedQueue, AnUnderflowEndsTheWorkerAndStopReleasesWhoWaits) {
    const LogCapture log;
    // A signal is lost while the worker has not begun to wait.
    Until([&] {
        TaskQueuePeer::WakeWorkerWithoutTask(worker.queue);
        return TaskQueuePeer::count(worker.queue) == -1;
    });
    Until([&] { return worker.ended() == 1; });
    EXPECT_TRUE(log.contains(kGet + "queue underflow."));
    Calls waiting = worker.Fill();
    EXPECT_EQ(worker.Call(4), 99);
    EXPECT_EQ(worker.start(), 0) << "the old worker has not been joined yet";
    EXPECT_EQ(worker.stop(), 0);
    EXPECT_EQ(Results(std::move(waiting)), (std::vector{1, 1}));
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

TEST_F(StartedQueue, SpuriousWakeUpsReleaseNoCaller) {
    worker.Close();
    GPUTask* task = worker.queue.getTask();
    task->kind = 7;
    std::future<int> call = Aside([&] { return worker.queue.runTask(task); });
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
