#include "service/TaskQueue.h"

#include <posteffect/PostEffect.h>

#include <algorithm>

#include "service/ServiceLog.h"

LogTag gServiceLog("GPUPostEffect");

namespace tessera {

namespace {

class Lock {
  public:
    explicit Lock(pthread_mutex_t& mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }
    ~Lock() { pthread_mutex_unlock(&m_mutex); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    pthread_mutex_t& m_mutex;
};

constexpr const char* kGet = "tessera::GPUPostEffect::GPUTask* tessera::GPUPostEffect::get()";

}  // namespace

TaskQueue::TaskQueue() {
    pthread_mutex_init(&m_lock, nullptr);
    pthread_cond_init(&m_condition, nullptr);
    pthread_cond_init(&m_joined, nullptr);
}

TaskQueue::~TaskQueue() {
    for (int i = 0; i < m_poolCount; ++i) delete m_pool[i];
    pthread_cond_destroy(&m_joined);
    pthread_cond_destroy(&m_condition);
    pthread_mutex_destroy(&m_lock);
}

int TaskQueue::start(void* (*entry)(void*), void* argument) {
    const Lock lock(m_lock);
    while (m_stopping) pthread_cond_wait(&m_joined, &m_lock);
    if (mGPUThread != 0) {
        LOG_DEBUG(gServiceLog, "%s: mGPUThread != 0.",
                  "virtual int tessera::GPUPostEffect::start()");
        return kPostEffectOk;
    }
    // A failed creation may leave anything in the handle.
    if (pthread_create(&mGPUThread, nullptr, entry, argument) != 0) mGPUThread = 0;
    return mGPUThread != 0 ? kPostEffectOk : kPostEffectBusy;
}

int TaskQueue::stop(const std::function<void()>& whenJoined) {
    const Lock lock(m_lock);
    if (m_stopping) {
        while (m_stopping) pthread_cond_wait(&m_joined, &m_lock);
        return kPostEffectOk;
    }
    if (mGPUThread == 0) return kPostEffectOk;
    m_stopping = true;
    // A wake-up token: counted, but no task.
    if (m_queueCount++ == 0) pthread_cond_signal(&m_condition);
    const pthread_t worker = mGPUThread;
    pthread_mutex_unlock(&m_lock);
    pthread_join(worker, nullptr);
    pthread_mutex_lock(&m_lock);
    // Left over only when the worker had ended before, by an underflow.
    CancelLocked(kSlots);
    m_queueCount = 0;
    mGPUThread = 0;
    m_stopping = false;
    whenJoined();
    pthread_cond_broadcast(&m_joined);
    return kPostEffectOk;
}

bool TaskQueue::ReadLocked(const bool& flag) {
    const Lock lock(m_lock);
    return flag;
}

void TaskQueue::WriteLocked(bool& flag, bool value) {
    const Lock lock(m_lock);
    flag = value;
}

GPUTask* TaskQueue::getTask() {
    const Lock lock(m_lock);
    return m_poolCount > 0 ? m_pool[--m_poolCount] : new GPUTask;
}

TaskQueue::PutResult TaskQueue::put(GPUTask* task) {
    const Lock lock(m_lock);
    // After stop's token nothing would take it from the queue any more.
    if (m_stopping) return kCancelled;
    if (m_queueCount >= kMaxWaiting) {
        LOG_DEBUG(gServiceLog, "ORBIT:GM: %s: queue overflow.",
                  "bool tessera::GPUPostEffect::put(tessera::GPUPostEffect::GPUTask*)");
        return kFull;
    }
    const int position = std::max(m_queueCount, 0);
    m_queue[position] = task;
    m_queueCount = position + 1;
    if (position == 0) pthread_cond_signal(&m_condition);
    return kQueued;
}

int TaskQueue::runTask(GPUTask* task) {
    task->result = 0;
    int result = kPostEffectBusy;
    switch (put(task)) {
        case kQueued: {
            const Lock lock(task->lock);
            while (task->pending) pthread_cond_wait(&task->done, &task->lock);
            task->pending = true;
            result = task->result;
            break;
        }
        case kCancelled:
            result = kPostEffectCancelled;
            break;
        case kFull:
            break;
    }
    destroyTask(task);
    return result;
}

void TaskQueue::destroyTask(GPUTask* task) {
    const Lock lock(m_lock);
    if (m_poolCount > 2) {
        LOG_DEBUG(gServiceLog, "ORBIT:GM: %s: destroyTask pool overflow.",
                  "void tessera::GPUPostEffect::destroyTask(tessera::GPUPostEffect::GPUTask*)");
        delete task;
        return;
    }
    m_pool[m_poolCount++] = task;
}

GPUTask* TaskQueue::get() {
    const Lock lock(m_lock);
    if (m_queueCount == 0) pthread_cond_wait(&m_condition, &m_lock);
    const int left = --m_queueCount;
    if (m_stopping) {
        LOG_DEBUG(gServiceLog, "ORBIT:GM: %s: cancel %d tasks.", kGet, left);
        for (int i = 0; i < left; ++i) {
            if (m_queue[i] == nullptr) {
                LOG_DEBUG(gServiceLog, "ORBIT:GM: %s: q[%d] is NULL.", kGet, i);
            }
        }
        CancelLocked(kSlots);
        m_queueCount = 0;
        return nullptr;
    }
    if (left < 0) {
        LOG_DEBUG(gServiceLog, "ORBIT:GM: %s: queue underflow.", kGet);
        return nullptr;
    }
    GPUTask* task = m_queue[0];
    if (left != 0) m_queue[0] = m_queue[1];
    if (left > 1) m_queue[1] = m_queue[2];
    m_queue[left] = nullptr;
    return task;
}

void TaskQueue::CancelLocked(int count) {
    for (int i = 0; i < count; ++i) {
        if (m_queue[i] != nullptr) Release(m_queue[i], kPostEffectCancelled);
        m_queue[i] = nullptr;
    }
}

void TaskQueue::Release(GPUTask* task, int result) {
    const Lock lock(task->lock);
    task->result = result;
    if (!task->pending) return;
    task->pending = false;
    // Under the lock: once it is released, the caller may free the record.
    pthread_cond_signal(&task->done);
}

void TaskQueue::Serve(const std::function<int(GPUTask*)>& handler) {
    while (GPUTask* task = get()) Release(task, handler(task));
}

}  // namespace tessera
