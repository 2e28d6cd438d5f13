// Hands tasks of many callers to one worker thread, in order, and each result back to its caller.
//
// Promises:
//  - At most two tasks wait while a third runs; a further caller gets 99 at once.
//  - A caller returns when its task has a result: the handler's, or 1 when stop() cancelled it.
//  - stop() lets the running task finish, cancels the waiting ones, and returns after the worker
//  has
//    ended; a second stop() and a start() meanwhile wait for that. A task put meanwhile is
//    cancelled.
//  - Records are recycled: at most three idle ones are kept, the last used goes out first.
//  - The worker waits for tasks once, without a loop: woken without a task it ends ("underflow").
//    Callers then wait until stop() releases them with 1.
//
// Knows nothing of what tasks do. Thread: callers any, get() and Serve() the worker.
#pragma once

#include <pthread.h>

#include <functional>

#include "service/GPUTask.h"

namespace tessera {

class TaskQueue {
  public:
    TaskQueue();
    // Frees the idle records. The worker must have been stopped.
    ~TaskQueue();
    TaskQueue(const TaskQueue&) = delete;
    TaskQueue& operator=(const TaskQueue&) = delete;

    // Starts the worker, unless it runs. 0, or 99 when no thread could be had.
    int start(void* (*entry)(void*), void* argument);
    // Ends the worker; `whenJoined` runs under the service lock afterwards. Always 0.
    int stop(const std::function<void()>& whenJoined);

    // A record to fill and hand to runTask.
    GPUTask* getTask();
    // Queues the task, waits for its result, recycles the record.
    int runTask(GPUTask* task);

    // The worker's loop: runs until stop().
    void Serve(const std::function<int(GPUTask*)>& handler);

    // A flag of the service's that the service lock guards.
    bool ReadLocked(const bool& flag);
    void WriteLocked(bool& flag, bool value);

  private:
    friend class TaskQueuePeer;  // tests wake the worker without a task

    enum PutResult { kQueued, kFull, kCancelled };

    PutResult put(GPUTask* task);
    GPUTask* get();
    void destroyTask(GPUTask* task);
    // Stores the result and lets the caller go.
    static void Release(GPUTask* task, int result);
    // Releases what waits in slots [0, count) with 1; the service lock is held.
    void CancelLocked(int count);

    static constexpr int kMaxWaiting = 2;
    static constexpr int kSlots = 3;  // the third only serves the shift

    pthread_mutex_t m_lock;         // the service lock
    pthread_cond_t m_condition;     // tasks have come, or stop
    pthread_cond_t m_joined;        // a stop is over
    int m_queueCount = 0;           // may count one wake-up token, and be -1 after an underflow
    GPUTask* m_queue[kSlots] = {};  // oldest first
    int m_poolCount = 0;
    GPUTask* m_pool[kSlots] = {};
    pthread_t mGPUThread = 0;
    bool m_stopping = false;
};

}  // namespace tessera
