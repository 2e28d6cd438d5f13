// Worker-side handler of captured images, and the block callback that effects fetch them through.
#include <gralloc_priv.h>
#include <hardware/gralloc.h>
#include <posteffect/EffectCatalog.h>
#include <system/graphics.h>

#include <cstring>
#include <limits>

#include "engine/GEManager.h"
#include "engine/SemiPlanarRect.h"
#include "gl/GECommon.h"
#include "service/GPUPostEffect.h"
#include "service/ServiceLog.h"

namespace tessera {

namespace {

constexpr unsigned char kCaptureMode = 1;
constexpr uint32_t kHeapNoCaching = 0x200;

float Ratio(int part, int whole) {
    return static_cast<float>(part) / static_cast<float>(whole);
}

std::size_t LumaBytes(int width, int height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

// Sizes travel as int, so planes beyond that cannot be processed.
bool IsImageUsable(int width, int height) {
    if (width < 2 || height < 2) return false;
    constexpr std::size_t kMost = std::numeric_limits<int>::max();
    const std::size_t luma = LumaBytes(width, height);
    return luma <= kMost && luma + luma / 2 <= kMost;
}

}  // namespace

int GPUPostEffect::handleCapture(GPUTask* task) {
    constexpr const char* kTrace =
        "int tessera::GPUPostEffect::handleCapture(tessera::GPUPostEffect::GPUTask*)";
    LOG_DEBUG(gServiceLog, "%s E.", kTrace);
    const uint32_t started = GetTickCount();
    if (isGEInit) releaseManager();
    int result = kPostEffectOk;
    if (mParameters.effect >= 1) {
        result = captureThroughEffect(task);
        mpGEMan->Deinit();
        LOG_DEBUG(gServiceLog, "[%s] Capture image time = %.4f", "handleCapture",
                  (GetTickCount() - started) / 1000.0);
    }
    LOG_DEBUG(gServiceLog, "%s X.", kTrace);
    return result;
}

int GPUPostEffect::captureThroughEffect(GPUTask* task) {
    uint8_t* base = AddressArgument(task->b1);
    const int fd = static_cast<int>(task->b0);
    const int yOffset = static_cast<int>(task->b2);
    const int uvOffset = static_cast<int>(task->b3);
    mCaptureWidth = static_cast<int>(task->a2);
    mCaptureHeight = static_cast<int>(task->a3);
    LOG_DEBUG(gServiceLog, " cw = %d, ch = %d, vp_w = %d, vp_h = %d.", mCaptureWidth,
              mCaptureHeight, mPreviewWidth, mPreviewHeight);
    if (base == nullptr || yOffset < 0 || uvOffset < 0 || !isPreviewSizeUsable() ||
        !IsImageUsable(mCaptureWidth, mCaptureHeight)) {
        return kPostEffectCaptureFailed;
    }
    mCaptureY = base + yOffset;
    mCaptureUV = mCaptureY + uvOffset;

    const std::size_t lumaBytes = LumaBytes(mCaptureWidth, mCaptureHeight);
    const std::size_t chromaBytes = lumaBytes / 2;
    memYUV = new android::MemoryHeapBase(lumaBytes + chromaBytes, kHeapNoCaching, nullptr);
    if (memYUV->getHeapID() < 0) {
        LOG_DEBUG(gServiceLog, "%s allocate memYUV failed.", "handleCapture");
        memYUV.clear();
        return kPostEffectCaptureFailed;
    }
    // Chroma rows are as long as luma rows; what an odd size leaves over is no part of the picture.
    const std::size_t chromaRows = LumaBytes(mCaptureWidth, mCaptureHeight / 2);
    auto* heap = static_cast<uint8_t*>(memYUV->getBase());
    // No byte of the picture is ever anything but the picture's own, whatever a plan covers.
    std::memcpy(heap, mCaptureY, lumaBytes);
    std::memcpy(heap + lumaBytes, mCaptureUV, chromaRows);

    int result = kPostEffectCaptureFailed;
    if (processCapture(task->parameters)) {
        const private_handle_t* handle =
            private_handle_t::dynamicCast(mCaptureBuffer->getNativeBuffer()->handle);
        const int flags = handle->flags;
        mCaptureBuffer.clear();
        std::memcpy(mCaptureY, heap, lumaBytes);
        clean_buffer(base, flags, yOffset, fd, static_cast<int>(lumaBytes));
        std::memcpy(mCaptureUV, heap + lumaBytes, chromaRows);
        // The offset counts from the luma plane here, as the cache operation has always had it.
        clean_buffer(base, flags, uvOffset, fd, static_cast<int>(chromaBytes));
        result = kPostEffectOk;
    }
    mCaptureBuffer.clear();
    memYUV.clear();
    return result;
}

bool GPUPostEffect::processCapture(const EffectParameters& taskParameters) {
    const auto width = static_cast<unsigned>(mPreviewWidth);
    const auto height = static_cast<unsigned>(mPreviewHeight);
    mCaptureBuffer =
        new android::GraphicBuffer(RoundUp32(width), height, HAL_PIXEL_FORMAT_RGBA_8888,
                                   GRALLOC_USAGE_HW_TEXTURE | GRALLOC_USAGE_SW_WRITE_OFTEN);
    if (mCaptureBuffer->initCheck() != 0 ||
        !mpGEMan->Init(mCaptureBuffer->getNativeBuffer(), static_cast<unsigned>(mCaptureWidth),
                       static_cast<unsigned>(mCaptureHeight), 0, 0, 0, width, height, this)) {
        return false;
    }
    if (taskParameters.effect == posteffect::kEffectMirror) setLandscaped(taskParameters);
    if (!mpGEMan->ChooseEffect(static_cast<unsigned>(mParameters.effect), kCaptureMode)) {
        return false;
    }
    // Many effects answer 0 to these on success.
    const int* p = mParameters.group0;
    mpGEMan->SetParam(0, p[0], p[1], p[2], p[3]);
    const int* q = mParameters.group1;
    mpGEMan->SetParam(1, q[0], q[1], q[2], q[3]);
    mpGEMan->SetCrop(Ratio(mCropX, mCaptureWidth), Ratio(mCropY, mCaptureHeight),
                     Ratio(mCropW, mCaptureWidth), Ratio(mCropH, mCaptureHeight));
    return mpGEMan->ProcFrame(mCaptureY, mCaptureUV, static_cast<uint8_t*>(memYUV->getBase()),
                              mCaptureWidth, mCaptureHeight) != 0;
}

int GPUPostEffect::convertRect(void* dst, int dstStride, int dstHeight, int rx, int ry, int rw,
                               int rh) {
    LOG_INFO(gServiceLog, "[convertRect] w = %d, h = %d, dw=%d, rx=%d, ry=%d, rw=%d, rh=%d",
             mCaptureWidth, mCaptureHeight, dstStride, rx, ry, rw, rh);
    posteffect::ConvertSemiPlanarRect(dst, dstStride, dstHeight, mCaptureY, mCaptureUV,
                                      mCaptureWidth, mCaptureHeight, rx, ry, rw, rh);
    clean_buffer(mCaptureBuffer);
    return 1;
}

}  // namespace tessera
