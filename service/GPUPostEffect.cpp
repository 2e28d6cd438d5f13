#include "service/GPUPostEffect.h"

#include <utils/String8.h>

#include <new>

#include "engine/GEManager.h"
#include "gl/CacheMaintenance.h"
#include "gl/GECommon.h"
#include "service/ExitGuard.h"
#include "service/GECameraParameters.h"
#include "service/ServiceLog.h"

namespace tessera {

GPUPostEffect::GPUPostEffect() {
    WatchThisThreadsExit();
    mParameters.Reset();
    mParameters.effect = 0;
}

GPUPostEffect::~GPUPostEffect() = default;

int GPUPostEffect::start() {
    WatchThisThreadsExit();
    return mQueue.start(_threadMain, this);
}

int GPUPostEffect::stop() {
    return mQueue.stop([this] { mPreviewStarted = false; });
}

int GPUPostEffect::setParameters(const android::String8& params) {
    android::GECameraParameters parameters;
    try {
        parameters.unflatten(params);
    } catch (const std::bad_alloc&) {
        return kPostEffectBusy;
    }
    GPUTask* task = mQueue.getTask();
    if (task == nullptr) return kPostEffectBusy;
    EffectParameters& record = task->parameters;
    parameters.getGPUEffect(&record.effect);
    // A key that is absent or malformed leaves what the recycled record held.
    for (int i = 0; i < 2; ++i) {
        int* group = i == 0 ? record.group0 : record.group1;
        parameters.getGPUEffectParam(i, &group[0], &group[1], &group[2], &group[3]);
    }
    record.group0Dirty = 1;
    record.group1Dirty = 1;
    task->kind = GPUTask::kSetParameters;
    return mQueue.runTask(task);
}

int GPUPostEffect::startPreview(int width, int height) {
    constexpr const char* kName = "virtual int tessera::GPUPostEffect::startPreview(int, int)";
    LOG_DEBUG(gServiceLog, "%s E.", kName);
    GPUTask* task = mQueue.getTask();
    if (task == nullptr) return kPostEffectBusy;
    task->kind = GPUTask::kStartPreview;
    task->a2 = width;
    task->a3 = height;
    const int result = mQueue.runTask(task);
    LOG_DEBUG(gServiceLog, "%s X.", kName);
    return result;
}

int GPUPostEffect::stopPreview() {
    constexpr const char* kName = "virtual int tessera::GPUPostEffect::stopPreview()";
    LOG_DEBUG(gServiceLog, "%s E.", kName);
    int result = kPostEffectOk;
    if (mQueue.ReadLocked(mPreviewStarted)) {
        GPUTask* task = mQueue.getTask();
        if (task == nullptr) return kPostEffectBusy;
        task->kind = GPUTask::kStopPreview;
        result = mQueue.runTask(task);
    }
    LOG_DEBUG(gServiceLog, "%s X.", kName);
    return result;
}

int GPUPostEffect::handlePreview(int fd, void* base, int offset) {
    if (!mQueue.ReadLocked(mPreviewStarted)) return kPostEffectNotStarted;
    GPUTask* task = mQueue.getTask();
    if (task == nullptr) return kPostEffectBusy;
    task->kind = GPUTask::kHandlePreview;
    task->b0 = fd;
    task->b1 = reinterpret_cast<intptr_t>(base);
    task->b2 = offset;
    return mQueue.runTask(task);
}

int GPUPostEffect::handleCapture(int cw, int ch, int fd, void* base, int yOffset, int uvOffset) {
    if (mEffectNumber.load(std::memory_order_relaxed) < 1) return kPostEffectOk;
    GPUTask* task = mQueue.getTask();
    if (task == nullptr) return kPostEffectBusy;
    task->kind = GPUTask::kHandleCapture;
    task->a2 = cw;
    task->a3 = ch;
    task->b0 = fd;
    task->b1 = reinterpret_cast<intptr_t>(base);
    task->b2 = yOffset;
    task->b3 = uvOffset;
    return mQueue.runTask(task);
}

int GPUPostEffect::setCrop(int x, int y, int w, int h) {
    if (mEffectNumber.load(std::memory_order_relaxed) < 1) return kPostEffectOk;
    GPUTask* task = mQueue.getTask();
    if (task == nullptr) return kPostEffectBusy;
    task->kind = GPUTask::kSetCrop;
    task->a0 = x;
    task->a1 = y;
    task->a2 = w;
    task->a3 = h;
    return mQueue.runTask(task);
}

void* GPUPostEffect::_threadMain(void* service) {
    return static_cast<GPUPostEffect*>(service)->threadMain();
}

void* GPUPostEffect::threadMain() {
    constexpr const char* kName = "void* tessera::GPUPostEffect::threadMain()";
    LOG_DEBUG(gServiceLog, "%s E.", kName);
    {
        const GPUWork setUp(GPUWork::kSetUp);
        if (setUp.allowed()) mpGEMan = new (std::nothrow) GEManager;
    }
    mQueue.Serve([this](GPUTask* task) {
        const GPUWork work;
        return work.allowed() ? handleTask(task) : int{kPostEffectCancelled};
    });
    tearDown();
    LOG_DEBUG(gServiceLog, "%s X.", kName);
    return nullptr;
}

void GPUPostEffect::tearDown() {
    const GPUWork work;
    if (!work.allowed()) return;  // what is left goes with the process
    memYUV.clear();
    mSecondHeap.clear();
    if (mpGEMan != nullptr) mpGEMan->Deinit();
    isGEInit = false;
    mPreviewBuffer.clear();
    delete mpGEMan;
    mpGEMan = nullptr;
}

// Exceptions end here: what a task needed memory for is let go, and its caller told.
int GPUPostEffect::handleTask(GPUTask* task) {
    try {
        if (mpGEMan == nullptr) mpGEMan = new GEManager;
        return runHandler(task);
    } catch (const std::bad_alloc&) {
        LOG_DEBUG(gServiceLog, "%s: out of memory.", "handleTask");
    }
    if (mpGEMan != nullptr) releaseManager();
    mCaptureBuffer.clear();
    memYUV.clear();
    switch (task->kind) {
        case GPUTask::kHandlePreview:
            return kPostEffectNoEffect;
        case GPUTask::kHandleCapture:
            return kPostEffectCaptureFailed;
        default:
            return kPostEffectBusy;
    }
}

int GPUPostEffect::runHandler(GPUTask* task) {
    // What went wrong in an earlier task is not this one's.
    DrainGLErrors();
    switch (task->kind) {
        case GPUTask::kSetParameters:
            return setParameters(task);
        case GPUTask::kStartPreview:
            return startPreview(task);
        case GPUTask::kHandlePreview:
            return handlePreview(task);
        case GPUTask::kStopPreview:
            return stopPreview(task);
        case GPUTask::kHandleCapture:
            return handleCapture(task);
        case GPUTask::kSetCrop:
            return setCrop(task);
        default:
            return kPostEffectBusy;
    }
}

int GPUPostEffect::clean_buffer(const android::sp<android::GraphicBuffer>& buffer) {
    return CleanCache(gServiceLog, buffer.get());
}

int GPUPostEffect::clean_buffer(void* base, int flags, int offset, int fd, int size) {
    return CleanCache(gServiceLog, base, flags, offset, fd, static_cast<std::size_t>(size));
}

}  // namespace tessera
