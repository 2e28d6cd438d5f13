// Drives effects directly, fed from pictures as the service feeds them.
#pragma once

#include <gtest/gtest.h>
#include <ui/GraphicBuffer.h>

#include <functional>

#include "engine/GEShader.h"
#include "engine/SemiPlanarRect.h"
#include "gl/CacheMaintenance.h"
#include "gl/GECommon.h"
#include "gl/GLTexture.h"
#include "tests/support/CaptureImage.h"

namespace testing_support {

// A source texture over a graphics buffer, fed from a picture as the service feeds it.
class Source : public IYUVConverter {
  public:
    Source(const CaptureImage& image, int blockWidth, int blockHeight)
        : m_image(image),
          m_buffer(new android::GraphicBuffer(RoundUp32(static_cast<unsigned>(blockWidth)),
                                              static_cast<unsigned>(blockHeight), 1, 0x130)) {
        EXPECT_TRUE(m_texture.Init(m_buffer->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE,
                                   static_cast<unsigned>(blockWidth),
                                   static_cast<unsigned>(blockHeight)));
        m_texture.SetParameteri(GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        m_texture.SetParameteri(GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    }

    int convertRect(void* dst, int dstStride, int dstHeight, int rx, int ry, int rw,
                    int rh) override {
        posteffect::ConvertSemiPlanarRect(dst, dstStride, dstHeight, m_image.data(),
                                          m_image.data() + m_image.chromaOffset(), m_image.width(),
                                          m_image.height(), rx, ry, rw, rh);
        CleanCache(m_log, m_buffer.get());
        return 1;
    }
    void FillWhole() {
        convertRect(m_texture.GetSTDataBuf(), static_cast<int>(m_texture.GetStride()),
                    static_cast<int>(m_texture.m_nHeight), 0, 0, m_image.width(), m_image.height());
    }
    GLTexture* texture() { return &m_texture; }

  private:
    LogTag m_log{"Test"};
    const CaptureImage& m_image;
    android::sp<android::GraphicBuffer> m_buffer;
    GLTexture m_texture;
};

inline int InitEffect(GEShader& effect, Source& source, bool capture) {
    const GLTexture* texture = source.texture();
    return effect.Init(source.texture(), 0, 0, 0, texture->m_nWidth, texture->m_nHeight,
                       capture ? 1 : 0, &source);
}

// Sets parameters and crop.
using Prepare = std::function<void(GEShader&)>;

// All four return the picture after the effect.
inline CaptureImage Preview(GEShader& effect, const CaptureImage& image,
                            const Prepare& prepare = {}) {
    Source source(image, image.width(), image.height());
    source.FillWhole();
    EXPECT_TRUE(InitEffect(effect, source, false));
    if (prepare) prepare(effect);
    EXPECT_TRUE(effect.ProcFrame(0U, 0U, 0, 0));
    CaptureImage result(image.width(), image.height());
    effect.MemcpyYUV(result.data(), result.data() + result.chromaOffset());
    effect.Deinit();
    return result;
}
inline CaptureImage Capture(GEShader& effect, const CaptureImage& image, int blockWidth,
                            int blockHeight, const Prepare& prepare = {}) {
    Source source(image, blockWidth, blockHeight);
    EXPECT_TRUE(InitEffect(effect, source, true));
    if (prepare) prepare(effect);
    CaptureImage result(image.width(), image.height());
    auto* planes = const_cast<unsigned char*>(image.data());  // read only
    EXPECT_TRUE(effect.ProcFrame(planes, planes + image.chromaOffset(), result.data(),
                                 image.width(), image.height()));
    effect.Deinit();
    return result;
}
template <typename Effect>
CaptureImage Preview(const CaptureImage& image, const Prepare& prepare = {}) {
    Effect effect;
    return Preview(effect, image, prepare);
}
template <typename Effect>
CaptureImage Capture(const CaptureImage& image, int blockWidth, int blockHeight,
                     const Prepare& prepare = {}) {
    Effect effect;
    return Capture(effect, image, blockWidth, blockHeight, prepare);
}

}  // namespace testing_support
