// Hands tasks of many callers to one worker thread, in order, and each result back to its caller.
//
// Promises:
//  - At most two tasks wait while a third runs; a further caller gets 99 at once.
//  - A caller returns when its task has a result: the handler's, or 1 when stop() cancelled it. A
//    cancelled task was never shown to the handler.
//  - stop() lets the running task finish, cancels the waiting ones, and returns after the worker
//    has ended; a second stop() and a start() meanwhile wait for that. A task handed over meanwhile
//    is cancelled. start() may follow.
//  - Records are recycled: at most three idle ones are kept, the last one used goes out first.
//  - The worker waits for tasks once, without a loop: woken without a task it ends ("underflow").
//    Callers then wait until stop() releases them with 1.
//  - Without a worker callers wait for one.
//
// Knows nothing of what tasks do. Thread: Serve() the worker, everything else any.
#pragma once

#include <pthread.h>

#include <functional>

#include "service/GPUTask.h"
#include "service/Mutex.h"

namespace tessera {

class TaskQueue {
  public:
    TaskQueue() = default;
    // Frees the idle records. The worker must have been stopped.
    ~TaskQueue();
    TaskQueue(const TaskQueue&) = delete;
    TaskQueue& operator=(const TaskQueue&) = delete;

    // Starts the worker, unless it runs. 0, or 99 when no thread could be had.
    int start(void* (*entry)(void*), void* argument);
    // Ends the worker; `whenJoined` runs under the service lock afterwards. Always 0.
    int stop(const std::function<void()>& whenJoined);

    // A record to fill and hand to runTask; null when there is no memory for one.
    GPUTask* getTask();
    // Queues the task, waits for its result, recycles the record.
    int runTask(GPUTask* task);

    // The worker's loop: runs until stop(). The handler returns its task's result.
    void Serve(const std::function<int(GPUTask*)>& handler);

    // A flag of the service's that the service lock guards.
    bool ReadLocked(const bool& flag);
    void WriteLocked(bool& flag, bool value);

  private:
    friend class TaskQueuePeer;  // tests look at the count and wake the worker without a task

    // 0 when the task is queued, else the result that its caller gets instead.
    int put(GPUTask* task);
    // The next task; null ends the worker.
    GPUTask* get();
    void destroyTask(GPUTask* task);
    // Empties the queue; callers get 1. `expected` tasks were counted.
    void cancelTasks(int expected) LOCK_RULE(requires_capability(m_lock));

    static constexpr int kMaxWaiting = 2;
    static constexpr int kSlots = 3;  // of the queue; the third only serves the shift
    static constexpr int kMaxIdle = 3;

    Mutex m_lock;        // the service lock
    Condition m_wakeUp;  // tasks have come, or stop
    Condition m_joined;  // a stop is over
    // May count one wake-up token, and be -1 after an underflow.
    int m_queueCount LOCK_RULE(guarded_by(m_lock)) = 0;
    GPUTask* m_queue[kSlots] LOCK_RULE(guarded_by(m_lock)) = {};  // oldest first
    int m_poolCount LOCK_RULE(guarded_by(m_lock)) = 0;
    GPUTask* m_pool[kMaxIdle] LOCK_RULE(guarded_by(m_lock)) = {};
    pthread_t mGPUThread LOCK_RULE(guarded_by(m_lock)) = 0;  // 0: none
    bool m_stopping LOCK_RULE(guarded_by(m_lock)) = false;
};

}  // namespace tessera
