// Textures, framebuffers and programs on a real context.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "effects/Bypass.h"
#include "gl/GECommon.h"
#include "gl/GLFbo.h"
#include "gl/GLTexture.h"
#include "tests/support/GLObjectCount.h"
#include "tests/support/GLTest.h"
#include "tests/support/LogCapture.h"

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

using GLObjects = GLTest;

std::unique_ptr<GLTexture> Streaming(unsigned format, unsigned type, unsigned w, unsigned h) {
    auto texture = std::make_unique<GLTexture>();
    EXPECT_TRUE(texture->Init(format, type, w, h, 1));
    return texture;
}

TEST_F(GLObjects, ErrorChecksNameTheCallAndTheCode) {
    const LogCapture log;
    EXPECT_TRUE(CheckGLError("BindSrcTexture", "glBindTexture"));
    glDrawArrays(GL_TRIANGLES, 0, -1);
    EXPECT_FALSE(CheckGLError("DrawArrays", "glDrawArrays"));
    glUseProgram(0);
    glUniform1i(5, 1);
    EXPECT_FALSE(CheckGLError("BindSrcTexture", "glBindTexture"));
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    EXPECT_TRUE(CheckEGLError("Init", "eglGetCurrentDisplay"));
    EXPECT_THAT(
        log.texts("GECommon"),
        ElementsAre("[DrawArrays] ERROR, glDrawArrays failed with error: 0x501 GL_INVALID_VALUE\n",
                    "[BindSrcTexture] ERROR, glBindTexture failed with error: 0x502 "
                    "GL_INVALID_OPERATION\n"));
}

TEST_F(GLObjects, StreamingTexturesRoundTheirRowsUpAndSayTheirSize) {
    const LogCapture log;
    const auto texture = Streaming(GL_RGBA, GL_UNSIGNED_BYTE, 100, 50);
    EXPECT_EQ(texture->m_nWidth, 100U);
    EXPECT_EQ(texture->m_nStride, 128U);
    EXPECT_EQ(texture->GetStride(), 128U);
    EXPECT_EQ(texture->m_nBpp, 4U);
    ASSERT_NE(texture->GetSTDataBuf(), nullptr);
    std::memset(texture->GetSTDataBuf(), 7, 128UL * 50 * 4);
    EXPECT_EQ(texture->clean_buffer(), 1);
    EXPECT_THAT(log.texts("GLTexture"), Contains(HasSubstr("alloc 100(128) x 50 x 4 Bpp = "
                                                           "19.531250 KB native buf at ")));
    GLTexture normal;
    for (const unsigned side : {8U, 16U}) {
        ASSERT_TRUE(normal.Init(GL_RGBA, GL_UNSIGNED_BYTE, side, side, 0));
    }
    // Another size is another buffer.
    ASSERT_TRUE(texture->Init(GL_RGBA, GL_UNSIGNED_BYTE, 200, 70, 1));
    std::memset(texture->GetSTDataBuf(), 7, 224UL * 70 * 4);
    EXPECT_EQ(texture->clean_buffer(), 1);
}

TEST_F(GLObjects, AStreamingTextureThatIsLeftToTheCPUHasPixelsAndNothingToDrawInto) {
    for (const bool left : {false, true}) {
        GLTexture texture;
        if (left) texture.LeaveToCPU();
        ASSERT_TRUE(texture.Init(GL_RGBA, GL_UNSIGNED_BYTE, 100, 50, 1));
        std::memset(texture.GetSTDataBuf(), 7, 128UL * 50 * 4);
        EXPECT_EQ(texture.clean_buffer(), 1);
        GLFbo fbo;
        ASSERT_TRUE(fbo.Init());
        EXPECT_EQ(fbo.SetColorAttachment(GL_TEXTURE_2D, texture.name()), !left);
    }
}

TEST_F(GLObjects, TexturesRefuseWhatTheirKindCannotDo) {
    const LogCapture log;
    {
        GLTexture luminance;
        EXPECT_FALSE(luminance.Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, 16, 16, 1));
        GLTexture yuv;
        EXPECT_FALSE(yuv.Init(GLTexture::kFormatYUV, GL_UNSIGNED_BYTE, 16, 16, 1));
        GLTexture empty;
        EXPECT_FALSE(empty.Init(GL_RGBA, GL_UNSIGNED_BYTE, 0, 16, 1));
        GLTexture noBuffer;
        EXPECT_FALSE(noBuffer.Init(nullptr, GL_RGBA, GL_UNSIGNED_BYTE, 16, 16));

        GLTexture normal;
        ASSERT_TRUE(normal.Init(GL_RGBA, GL_UNSIGNED_BYTE, 20, 10, 0));
        EXPECT_EQ(normal.m_nStride, 20U);
        EXPECT_EQ(normal.GetSTDataBuf(), nullptr);
        EXPECT_EQ(normal.clean_buffer(), 0);
        const unsigned char pixels[20 * 10 * 4] = {};
        EXPECT_FALSE(normal.UpdateNormalTexture(pixels, 10, 20));
        EXPECT_TRUE(normal.UpdateNormalTexture(pixels, 20, 10));

        const auto streaming = Streaming(GL_RGBA, GL_UNSIGNED_BYTE, 32, 10);
        EXPECT_FALSE(streaming->UpdateNormalTexture(pixels, 32, 10));

        const android::sp<android::GraphicBuffer> other(
            new android::GraphicBuffer(32, 10, 1, 0x130));
        EXPECT_FALSE(streaming->Init(other->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 32, 10));

        // More pixels than there is memory.
        const android::sp<android::GraphicBuffer> rgb565(
            new android::GraphicBuffer(32, 10, 4, 0x130));
        GLTexture wrapping;
        EXPECT_FALSE(wrapping.Init(other->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 33, 10));
        EXPECT_FALSE(wrapping.Init(other->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 32, 11));
        EXPECT_FALSE(wrapping.Init(rgb565->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 32, 10));
    }
    EXPECT_THAT(
        log.errors(),
        ElementsAre("[Init] ST only supports RGB565/RGB88/RGBA",
                    "[Init] YUV ST created in this way not implemented",
                    "[Init] can't allocate graphics buffer", "[Init] no native buffer",
                    "[GetSTDataBuf] ERROR, only streaming texture use this method\n",
                    "[UpdateNormalTexture] ERROR, wrong input size 10x20, tex size is 20x10\n",
                    "[UpdateNormalTexture] ERROR, only normal texture use this method\n",
                    HasSubstr("already assigned and not equal to passed-in native buffer"),
                    "[Init] native buffer too small for 33x10",
                    "[Init] native buffer too small for 32x11",
                    "[Init] native buffer too small for 32x10"));
}

TEST_F(GLObjects, FramebuffersRestoreTheBindingUnlessTheAttachmentIsIncomplete) {
    const LogCapture log;
    GLFbo first;
    GLFbo second;
    ASSERT_TRUE(first.Init());
    ASSERT_TRUE(second.Init());
    GLTexture color;
    GLTexture luminance;
    ASSERT_TRUE(color.Init(GL_RGBA, GL_UNSIGNED_BYTE, 8, 8, 0));
    ASSERT_TRUE(luminance.Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, 8, 8, 0));
    const auto bound = [] {
        GLint name = 0;
        glGetIntegerv(GL_FRAMEBUFFER_BINDING, &name);
        return static_cast<GLuint>(name);
    };

    first.Bind();
    EXPECT_TRUE(second.SetColorAttachment(&color));
    EXPECT_EQ(bound(), first.name());
    EXPECT_EQ(second.attachedTexture(), &color);

    EXPECT_FALSE(second.SetColorAttachment(luminance.target(), luminance.name()));
    EXPECT_EQ(bound(), second.name());
    first.Bind();
    EXPECT_TRUE(second.SetColorAttachment(&luminance)) << "incompleteness is only logged here";
    EXPECT_FALSE(second.SetColorAttachment(nullptr));
    EXPECT_TRUE(second.ResetColorAttachment());
    EXPECT_EQ(second.attachedTexture(), nullptr);
    const std::string incomplete = "[GLFbo::SetColorAttachment] ERROR, FBO not complete, status ";
    EXPECT_THAT(log.errors(), ElementsAre(HasSubstr(incomplete), HasSubstr(incomplete),
                                          "[GLFbo::SetColorAttachment] invalid pTexture"));
    DrainGLErrors();
    const GLFbo neverInitialised;
}

class TextProgram : public GLProgram {
  public:
    TextProgram(const char* vertex, const char* fragment)
        : m_vertex(vertex), m_fragment(fragment) {}
    using GLProgram::Load;
    int Load() override { return Load(m_vertex, m_fragment); }

  private:
    const char* m_vertex;
    const char* m_fragment;
};

constexpr char kGoodVertex[] = "attribute vec4 a; void main() { gl_Position = a; }";
constexpr char kGoodFragment[] = "void main() { gl_FragColor = vec4(1.0); }";

TEST_F(GLObjects, ProgramsThatFailToBuildLeaveNothingBehindTheyCanUse) {
    struct {
        const char* vertex;
        const char* fragment;
        const char* lastError;
        int shadersLeft;  // a failed link leaves both alive
    } const cases[] = {
        {"nonsense", kGoodFragment, "[Load] can't compile vertex shader\n", 0},
        {kGoodVertex, "nonsense", "[Load] can't compile fragment shader\n", 0},
        {kGoodVertex, "varying highp vec4 v; void main() { gl_FragColor = v; }",
         "[Load] can't link program\n", 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lastError);
        const LogCapture log;
        {
            TextProgram program(c.vertex, c.fragment);
            EXPECT_FALSE(program.Load());
            EXPECT_EQ(log.errors().back(), c.lastError);
            EXPECT_FALSE(program.Use());
            EXPECT_THAT(log.errors().back(), HasSubstr("[Use] invalid program id "));
        }
        EXPECT_EQ(LiveGLObjects() - m_before, c.shadersLeft);
        m_before = LiveGLObjects();
        EXPECT_TRUE(CheckGLError("after", "a failed program"));
    }
}

TEST_F(GLObjects, ProgramsCheckTheirSlotsAndLocations) {
    const LogCapture log;
    TextProgram program(kGoodVertex, kGoodFragment);
    GLTexture texture;
    EXPECT_TRUE(program.SetTextures(7, &texture));
    EXPECT_FALSE(program.SetTextures(8, &texture));
    EXPECT_TRUE(program.LocIsValid("m_nVerCoordLoc", 0));
    EXPECT_FALSE(program.LocIsValid("m_nVerCoordLoc", -1));
    EXPECT_THAT(log.errors(), ElementsAre("[SetTextures] nIdx 8 must < 8",
                                          "[LocIsValid] invalid m_nVerCoordLoc == -1"));
}

// The base's own operations, reached through an effect.
TEST_F(GLObjects, BlockCopyMovesPixelsBetweenStreamingTexturesOfOneFormatOnly) {
    GEShaderBypass effect;
    const auto source = Streaming(GL_RGBA, GL_UNSIGNED_BYTE, 64, 8);
    const auto target = Streaming(GL_RGBA, GL_UNSIGNED_BYTE, 32, 8);
    const auto rgb565 = Streaming(GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 32, 8);
    GLTexture normal;
    ASSERT_TRUE(normal.Init(GL_RGBA, GL_UNSIGNED_BYTE, 32, 8, 0));
    auto* from = static_cast<uint32_t*>(source->GetSTDataBuf());
    auto* to = static_cast<uint32_t*>(target->GetSTDataBuf());
    for (uint32_t i = 0; i < 64 * 8; ++i) from[i] = i;

    EXPECT_EQ(effect.BlockCopy(target.get(), 3, 2, 10, 4, source.get(), 20, 1), 1);
    for (uint32_t y = 0; y < 8; ++y) {
        for (uint32_t x = 0; x < 32; ++x) {
            const bool inside = x >= 3 && x < 13 && y >= 2 && y < 6;
            ASSERT_EQ(to[y * 32 + x], inside ? (y - 1) * 64 + x + 17 : 0) << x << "," << y;
        }
    }
    // What reaches outside either texture is left out.
    EXPECT_EQ(effect.BlockCopy(target.get(), -5, -5, 1000, 1000, source.get(), 0, 0), 1);
    EXPECT_EQ(to[0], 5U * 64 + 5);

    const LogCapture log;
    EXPECT_EQ(effect.BlockCopy(nullptr, 0, 0, 1, 1, source.get(), 0, 0), 0);
    EXPECT_EQ(effect.BlockCopy(&normal, 0, 0, 1, 1, source.get(), 0, 0), 0);
    EXPECT_EQ(effect.BlockCopy(rgb565.get(), 0, 0, 1, 1, source.get(), 0, 0), 0);
    EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("[BlockCopy] invalid src("),
                                          "[BlockCopy] only ST can use this method. src(1) "
                                          "dst(0)\n",
                                          "[BlockCopy] inconsistent format. src(6408) "
                                          "dst(6407)\n"));
}

}  // namespace
