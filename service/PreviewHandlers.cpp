// Worker-side handlers of parameters, crop and preview.
#include <GLES2/gl2.h>
#include <gralloc_priv.h>
#include <hardware/gralloc.h>
#include <posteffect/EffectCatalog.h>
#include <system/graphics.h>

#include "engine/GEManager.h"
#include "engine/SemiPlanarRect.h"
#include "gl/GECommon.h"
#include "service/GPUPostEffect.h"
#include "service/ServiceLog.h"

namespace tessera {

namespace {

constexpr unsigned char kPreviewMode = 0;

float Ratio(int part, int whole) {
    return static_cast<float>(part) / static_cast<float>(whole);
}

}  // namespace

int GPUPostEffect::setParameters(GPUTask* task) {
    LOG_INFO(gServiceLog, "%s: old effect = %d, new effect = %d.",
             "int tessera::GPUPostEffect::setParameters(tessera::GPUPostEffect::GPUTask*)",
             mParameters.effect, task->parameters.effect);
    constexpr const char* kName = "setParameters";
    if (!isGEInit) {
        LOG_DEBUG(gServiceLog, "%s: isGEInit == false: no call to ChooseEffect.", kName);
    } else {
        LOG_DEBUG(gServiceLog, "%s: isGEInit == true: call to ChooseEffect.", kName);
        if (task->parameters.effect != mParameters.effect) {
            if (task->parameters.effect == posteffect::kEffectMirror) {
                setLandscaped(task->parameters);
                LOG_INFO(gServiceLog, "[Prism][%s] mpGEMan->m_bLandscaped = %s", kName,
                         mpGEMan->m_bLandscaped ? "true" : "false");
            }
            mpGEMan->ChooseEffect(static_cast<unsigned>(task->parameters.effect), kPreviewMode);
        }
    }
    mParameters = task->parameters;
    mEffectNumber.store(mParameters.effect, std::memory_order_relaxed);
    return kPostEffectOk;
}

void GPUPostEffect::setLandscaped(const EffectParameters& parameters) {
    mpGEMan->m_bLandscaped = parameters.group0Dirty != 0 && parameters.group0[0] != 0;
}

int GPUPostEffect::setCrop(GPUTask* task) {
    mCropX = static_cast<int>(task->a0);
    mCropY = static_cast<int>(task->a1);
    mCropW = static_cast<int>(task->a2);
    mCropH = static_cast<int>(task->a3);
    mCropPending = true;
    return kPostEffectOk;
}

int GPUPostEffect::startPreview(GPUTask* task) {
    constexpr const char* kName =
        "int tessera::GPUPostEffect::startPreview(tessera::GPUPostEffect::GPUTask*)";
    LOG_DEBUG(gServiceLog, "%s E.", kName);
    const int width = static_cast<int>(task->a2);
    const int height = static_cast<int>(task->a3);
    if (isGEInit && (width != mPreviewWidth || height != mPreviewHeight)) releaseManager();
    mPreviewWidth = width;
    mPreviewHeight = height;
    mParameters.group0Dirty = 1;
    mParameters.group1Dirty = 1;
    mPreviewBytes = static_cast<int>(RoundUp32(static_cast<unsigned>(width)) *
                                     static_cast<unsigned>(height) * 4U);
    LOG_DEBUG(gServiceLog, "%s: preview %d x %d started ok.", kName, width, height);
    mQueue.WriteLocked(mPreviewStarted, true);
    LOG_DEBUG(gServiceLog, "%s X.", kName);
    return kPostEffectOk;
}

int GPUPostEffect::stopPreview(GPUTask*) {
    mQueue.WriteLocked(mPreviewStarted, false);
    if (isGEInit) releaseManager();
    mPreviewBuffer.clear();
    return kPostEffectOk;
}

void GPUPostEffect::releaseManager() {
    mpGEMan->Deinit();
    isGEInit = false;
    mPreviewBuffer.clear();
}

// Chroma has half the frame's size; larger frames than the GPU renders fail when targets are made.
bool GPUPostEffect::isPreviewSizeUsable() const {
    return mPreviewWidth >= 2 && mPreviewHeight >= 2 && mPreviewWidth % 2 == 0 &&
           mPreviewHeight % 2 == 0;
}

int GPUPostEffect::internalStartPreview() {
    LOG_DEBUG(gServiceLog, "%s E.", "internalStartPreview");
    int result = kPostEffectNoEffect;
    if (isPreviewSizeUsable()) {
        const auto width = static_cast<unsigned>(mPreviewWidth);
        const auto height = static_cast<unsigned>(mPreviewHeight);
        mPreviewBuffer =
            new android::GraphicBuffer(RoundUp32(width), height, HAL_PIXEL_FORMAT_RGBA_8888,
                                       GRALLOC_USAGE_HW_TEXTURE | GRALLOC_USAGE_SW_WRITE_OFTEN);
        if (mPreviewBuffer->initCheck() == 0 &&
            mpGEMan->Init(mPreviewBuffer->getNativeBuffer(), RoundUp32(width), height, 0, 0, 0,
                          width, height, this)) {
            if (mParameters.effect == posteffect::kEffectMirror) setLandscaped(mParameters);
            const int chosen =
                mpGEMan->ChooseEffect(static_cast<unsigned>(mParameters.effect), kPreviewMode);
            mParameters.group0Dirty = 1;
            mParameters.group1Dirty = 1;
            if (chosen) {
                isGEInit = true;
                result = kPostEffectOk;
            }
        }
    }
    LOG_DEBUG(gServiceLog, "%s X.", "internalStartPreview");
    return result;
}

int GPUPostEffect::internalStopPreview() {
    LOG_DEBUG(gServiceLog, "%s E.", "internalStopPreview");
    releaseManager();
    LOG_DEBUG(gServiceLog, "%s X.", "internalStopPreview");
    return kPostEffectOk;
}

int GPUPostEffect::handlePreview(GPUTask* task) {
    constexpr const char* kName = "handlePreview";
    if (mParameters.effect < 1) {
        if (isGEInit) {
            LOG_DEBUG(gServiceLog, "%s: isGEInit == true, internalStopPreview.", kName);
            internalStopPreview();
        }
        return kPostEffectOk;
    }
    uint8_t* base = AddressArgument(task->b1);
    const int offset = static_cast<int>(task->b2);
    if (base == nullptr || offset < 0) return kPostEffectNoEffect;
    if (!isGEInit) {
        const int result = internalStartPreview();
        LOG_DEBUG(gServiceLog, "%s: isGEInit == false, internalStartPreview = %d.", kName, result);
        if (result != kPostEffectOk) return result;
    }

    uint8_t* frame = base + offset;
    const std::size_t lumaBytes =
        static_cast<std::size_t>(mPreviewWidth) * static_cast<std::size_t>(mPreviewHeight);
    const private_handle_t* handle =
        private_handle_t::dynamicCast(mPreviewBuffer->getNativeBuffer()->handle);
    posteffect::ConvertSemiPlanarRect(handle->base, static_cast<int>(mPreviewBuffer->getStride()),
                                      mPreviewHeight, frame, frame + lumaBytes, mPreviewWidth,
                                      mPreviewHeight, 0, 0, mPreviewWidth, mPreviewHeight);
    clean_buffer(mPreviewBuffer);

    if (!mpGEMan->hasEffect()) {
        // The recycled task's own record speaks here, not the service's.
        if (task->parameters.effect == posteffect::kEffectMirror) setLandscaped(task->parameters);
        if (!mpGEMan->ChooseEffect(static_cast<unsigned>(mParameters.effect), kPreviewMode)) {
            return kPostEffectNoEffect;
        }
    }
    if (mParameters.group0Dirty) {
        const int* p = mParameters.group0;
        mpGEMan->SetParam(0, p[0], p[1], p[2], p[3]);
    }
    if (mParameters.group1Dirty) {
        const int* q = mParameters.group1;
        mpGEMan->SetParam(1, q[0], q[1], q[2], q[3]);
    }
    if (mCropPending) {
        mpGEMan->SetCrop(Ratio(mCropX, mPreviewWidth), Ratio(mCropY, mPreviewHeight),
                         Ratio(mCropW, mPreviewWidth), Ratio(mCropH, mPreviewHeight));
    }
    if (mpGEMan->ProcFrame(0U, 0U, 0, 0)) mpGEMan->MemcpyYUV(frame, frame + lumaBytes);
    clean_buffer(base, handle->flags, offset, static_cast<int>(task->b0),
                 static_cast<int>(lumaBytes + lumaBytes / 2));
    mParameters.group0Dirty = 0;
    mParameters.group1Dirty = 0;
    mCropPending = false;
    return kPostEffectOk;
}

}  // namespace tessera
