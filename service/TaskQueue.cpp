#include "service/TaskQueue.h"

#include <posteffect/PostEffect.h>

#include <algorithm>
#include <new>

#include "service/ServiceLog.h"

LogTag gServiceLog("GPUPostEffect");

namespace tessera {

TaskQueue::~TaskQueue() {
    const Lock lock(m_lock);
    while (m_poolCount > 0) delete m_pool[--m_poolCount];
}

int TaskQueue::start(void* (*entry)(void*), void* argument) {
    const Lock lock(m_lock);
    while (m_stopping) m_joined.Wait(m_lock);
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
    pthread_t worker = 0;
    {
        const Lock lock(m_lock);
        if (m_stopping) {
            while (m_stopping) m_joined.Wait(m_lock);
            return kPostEffectOk;
        }
        if (mGPUThread == 0) return kPostEffectOk;
        m_stopping = true;
        // A wake-up token: counted, but no task.
        if (m_queueCount++ == 0) m_wakeUp.Signal();
        worker = mGPUThread;
    }
    pthread_join(worker, nullptr);
    const Lock lock(m_lock);
    // Tasks are left only when an underflow had ended the worker before.
    cancelTasks(0);
    mGPUThread = 0;
    m_stopping = false;
    whenJoined();
    m_joined.Broadcast();
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
    return m_poolCount > 0 ? m_pool[--m_poolCount] : new (std::nothrow) GPUTask;
}

int TaskQueue::runTask(GPUTask* task) {
    int result = put(task);
    if (result == kPostEffectOk) result = task->Await();
    destroyTask(task);
    return result;
}

int TaskQueue::put(GPUTask* task) {
    const Lock lock(m_lock);
    // After stop's token nothing would take it from the queue any more.
    if (m_stopping) return kPostEffectCancelled;
    if (m_queueCount >= kMaxWaiting) {
        LOG_DEBUG(gServiceLog, "ORBIT:GM: %s: queue overflow.",
                  "bool tessera::GPUPostEffect::put(tessera::GPUPostEffect::GPUTask*)");
        return kPostEffectBusy;
    }
    const int position = std::max(m_queueCount, 0);
    m_queue[position] = task;
    m_queueCount = position + 1;
    if (position == 0) m_wakeUp.Signal();
    return kPostEffectOk;
}

GPUTask* TaskQueue::get() {
    constexpr const char* kName = "tessera::GPUPostEffect::GPUTask* tessera::GPUPostEffect::get()";
    const Lock lock(m_lock);
    if (m_queueCount == 0) m_wakeUp.Wait(m_lock);
    const int left = --m_queueCount;
    if (m_stopping) {
        LOG_DEBUG(gServiceLog, "ORBIT:GM: %s: cancel %d tasks.", kName, left);
        cancelTasks(left);
        return nullptr;
    }
    if (left < 0) {
        LOG_DEBUG(gServiceLog, "ORBIT:GM: %s: queue underflow.", kName);
        return nullptr;
    }
    GPUTask* task = m_queue[0];
    std::move(m_queue + 1, m_queue + 1 + left, m_queue);
    m_queue[left] = nullptr;
    return task;
}

void TaskQueue::cancelTasks(int expected) {
    for (int i = 0; i < kSlots; ++i) {
        if (m_queue[i] != nullptr) {
            m_queue[i]->Complete(kPostEffectCancelled);
        } else if (i < expected) {
            LOG_DEBUG(gServiceLog, "ORBIT:GM: %s: q[%d] is NULL.",
                      "tessera::GPUPostEffect::GPUTask* tessera::GPUPostEffect::get()", i);
        }
        m_queue[i] = nullptr;
    }
    m_queueCount = 0;
}

void TaskQueue::destroyTask(GPUTask* task) {
    const Lock lock(m_lock);
    if (m_poolCount >= kMaxIdle) {
        LOG_DEBUG(gServiceLog, "ORBIT:GM: %s: destroyTask pool overflow.",
                  "void tessera::GPUPostEffect::destroyTask(tessera::GPUPostEffect::GPUTask*)");
        delete task;
        return;
    }
    m_pool[m_poolCount++] = task;
}

void TaskQueue::Serve(const std::function<int(GPUTask*)>& handler) {
    while (GPUTask* task = get()) task->Complete(handler(task));
}

}  // namespace tessera
