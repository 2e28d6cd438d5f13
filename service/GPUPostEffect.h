// The service: turns each public call into a task for its one worker thread, which owns the effect
// manager and with it everything of EGL and GL.
//
// Public operations: any thread. Handlers and convertRect: the worker only.
#pragma once

#include <binder/MemoryHeapBase.h>
#include <binder/MemoryHeapPmem.h>
#include <posteffect/PostEffect.h>
#include <ui/GraphicBuffer.h>
#include <utils/RefBase.h>

#include <atomic>
#include <cstdint>

#include "engine/IYUVConverter.h"
#include "service/EffectParameters.h"
#include "service/GPUTask.h"
#include "service/TaskQueue.h"

class GEManager;

namespace tessera {

class GPUPostEffect : public IPostEffect, public IYUVConverter {
  public:
    using GPUTask = tessera::GPUTask;

    GPUPostEffect();
    // The worker must have been stopped.
    ~GPUPostEffect() override;
    GPUPostEffect(const GPUPostEffect&) = delete;
    GPUPostEffect& operator=(const GPUPostEffect&) = delete;

    int start() override;
    int stop() override;
    int startPreview(int width, int height) override;
    int handlePreview(int fd, void* base, int offset) override;
    int stopPreview() override;
    int handleCapture(int cw, int ch, int fd, void* base, int yOffset, int uvOffset) override;
    int setParameters(const android::String8& params) override;
    int setCrop(int x, int y, int w, int h) override;

    int convertRect(void* dst, int dstStride, int dstHeight, int rx, int ry, int rw,
                    int rh) override;

  private:
    static void* _threadMain(void* service);
    void* threadMain();
    // The end of the worker's life: everything of EGL and GL goes.
    void tearDown();
    int handleTask(GPUTask* task);
    int runHandler(GPUTask* task);

    // Handlers (PreviewHandlers.cpp, CaptureHandler.cpp); each returns its task's result.
    int setParameters(GPUTask* task);
    int startPreview(GPUTask* task);
    int stopPreview(GPUTask* task);
    int handlePreview(GPUTask* task);
    int handleCapture(GPUTask* task);
    int setCrop(GPUTask* task);

    int internalStartPreview();
    int internalStopPreview();
    // Releases the effect, the input texture and the preview buffer.
    void releaseManager();
    bool isPreviewSizeUsable() const;
    // Mirror folds the other way on landscape frames; it must know before it is chosen.
    void setLandscaped(const EffectParameters& parameters);

    int captureThroughEffect(GPUTask* task);
    bool processCapture(const EffectParameters& taskParameters);

    int clean_buffer(const android::sp<android::GraphicBuffer>& buffer);
    int clean_buffer(void* base, int flags, int offset, int fd, int size);

    // The service lock, the queue, the pool and the thread.
    TaskQueue mQueue;
    // Owned by the worker.
    GEManager* mpGEMan = nullptr;
    android::sp<android::GraphicBuffer> mPreviewBuffer;
    android::sp<android::GraphicBuffer> mCaptureBuffer;
    android::sp<android::GraphicBuffer> mSpareBuffer;
    int mPreviewWidth = 0;  // pixels
    int mPreviewHeight = 0;
    int mCaptureWidth = 0;  // pixels
    int mCaptureHeight = 0;
    uint8_t* mCaptureY = nullptr;
    uint8_t* mCaptureUV = nullptr;
    int mPreviewBytes = 0;
    android::sp<android::MemoryHeapBase> memYUV;
    android::sp<android::MemoryHeapPmem> mSecondHeap;
    bool mPreviewStarted = false;  // under the service lock
    EffectParameters mParameters;
    // Callers look at the effect number without a lock.
    std::atomic<int> mEffectNumber{0};
    bool mOption0 = true;
    bool mOption1 = true;
    bool isGEInit = false;
    int mCropX = 0;  // pixels of the frame
    int mCropY = 0;
    int mCropW = 0;
    int mCropH = 0;
    bool mCropPending = false;
};

}  // namespace tessera
