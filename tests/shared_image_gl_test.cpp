// Displays shared by threads, and graphics buffers shared with textures.
#include <alloc_controller.h>
#include <gmock/gmock.h>
#include <gralloc_priv.h>
#include <gtest/gtest.h>
#include <ui/GraphicBuffer.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>
#include <tuple>
#include <vector>

#include "engine/GEManager.h"
#include "gl/CacheMaintenance.h"
#include "gl/GECommon.h"
#include "gl/GLFbo.h"
#include "gl/GLTexture.h"
#include "platform/Display.h"
#include "platform/Extensions.h"
#include "tests/support/GLTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Variable.h"

namespace {

using namespace testing_support;

LogTag gTestLog("Test");

TEST(Display, WorkersComeAndGoWithoutDisturbingOneAnother) {
    std::atomic<int> failures{0};
    const auto work = [&failures] {
        for (int i = 0; i < 15; ++i) {
            const GEManager manager;
            GLuint texture = 0;
            glGenTextures(1, &texture);
            glBindTexture(GL_TEXTURE_2D, texture);
            if (glIsTexture(texture) == GL_FALSE) ++failures;
            glDeleteTextures(1, &texture);
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(failures, 0);
}

TEST(Display, ComesBackAfterSomebodyElseTerminatedIt) {
    android::sp<android::GraphicBuffer> buffer(new android::GraphicBuffer(32, 4, 1, 0x130));
    const auto init = [&](GEManager& manager) {
        return manager.Init(buffer->getNativeBuffer(), 32, 4, 0, 0, 0, 32, 4, nullptr);
    };
    GEManager manager;
    ASSERT_EQ(init(manager), 1);
    manager.Deinit();
    eglTerminate(g_eglDisplay);
    EXPECT_EQ(init(manager), 1) << "one rebuild in use";
    manager.Deinit();
    eglTerminate(g_eglDisplay);
    std::thread([&] {
        GEManager other;
        EXPECT_EQ(init(other), 1) << "a new worker";
    }).join();
}

TEST(Display, OffersPbuffersWhereThereAreNoWindows) {
    const EGLDisplay display = platform::GetDisplay();
    ASSERT_TRUE(platform::InitializeDisplay(display, nullptr, nullptr));
    EGLConfig config = nullptr;
    EGLint count = 0;
    constexpr EGLint kBoth[] = {EGL_SURFACE_TYPE, EGL_WINDOW_BIT | EGL_PBUFFER_BIT, EGL_NONE};
    EXPECT_TRUE(platform::ChooseConfig(display, kBoth, &config, 1, &count));
    EXPECT_NE(config, nullptr);
    constexpr EGLint kDeep[] = {EGL_SURFACE_TYPE, EGL_WINDOW_BIT | EGL_PBUFFER_BIT,
                                EGL_DEPTH_SIZE,   1000,
                                EGL_STENCIL_SIZE, 1000,
                                EGL_NONE};
    EXPECT_TRUE(platform::ChooseConfig(display, kDeep, &config, 1, &count));
    constexpr EGLint kNone[] = {EGL_RED_SIZE, 100, EGL_NONE};
    EXPECT_FALSE(platform::ChooseConfig(display, kNone, &config, 1, &count));
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(platform::TerminateDisplay(display));
    EXPECT_FALSE(platform::TerminateDisplay(display)) << "counted";
}

TEST(Display, IsOfTheKindThatTheEnvironmentNames) {
    const auto displayFor = [](const char* kind) {
        const Variable variable("POSTEFFECT_EGL", kind);
        return platform::GetDisplay();
    };
    const EGLDisplay surfaceless = displayFor("surfaceless");
    EXPECT_NE(surfaceless, EGL_NO_DISPLAY);
    EXPECT_EQ(surfaceless, eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, nullptr, nullptr));
    const EGLDisplay device = displayFor("device");
    EXPECT_NE(device, EGL_NO_DISPLAY);
    EXPECT_NE(device, surfaceless);
    const LogCapture log;
    EXPECT_EQ(displayFor("sufraceless"), EGL_NO_DISPLAY);
    EXPECT_THAT(log.errors(), testing::ElementsAre(testing::HasSubstr("\"sufraceless\"")));
}

using SharedImage = GLTest;

android::sp<android::GraphicBuffer> Buffer(unsigned width, unsigned height, int format) {
    android::sp<android::GraphicBuffer> buffer(
        new android::GraphicBuffer(width, height, format, 0x130));
    EXPECT_EQ(buffer->initCheck(), 0);
    return buffer;
}

unsigned char* Pixels(const android::sp<android::GraphicBuffer>& buffer) {
    return static_cast<unsigned char*>(buffer->getNativeBuffer()->handle->base);
}

// The texture's pixels as the GPU has them.
std::vector<unsigned char> OnGpu(GLuint texture, int width, int height) {
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    std::vector<unsigned char> pixels(static_cast<std::size_t>(width * height * 4));
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    return pixels;
}

// Red, or white.
void Paint(GLuint texture, float greenAndBlue) {
    GLFbo fbo;
    ASSERT_TRUE(fbo.Init());
    ASSERT_TRUE(fbo.SetColorAttachment(GL_TEXTURE_2D, texture));
    fbo.Bind();
    glClearColor(1.0F, greenAndBlue, greenAndBlue, 1.0F);
    glClear(GL_COLOR_BUFFER_BIT);
}

void Fill(const android::sp<android::GraphicBuffer>& buffer, unsigned char value) {
    std::fill_n(Pixels(buffer), buffer->getNativeBuffer()->handle->size, value);
    EXPECT_EQ(CleanCache(gTestLog, buffer.get()), 1);
}

TEST_F(SharedImage, BringsWhatTheCpuWroteToTheTextureAndWhatTheGpuDrewToTheBuffer) {
    const struct {
        int format;
        unsigned glType;
        unsigned glFormat;
        std::vector<unsigned char> red;  // one pixel in memory
    } cases[] = {
        {1, GL_UNSIGNED_BYTE, GL_RGBA, {255, 0, 0, 255}},
        {3, GL_UNSIGNED_BYTE, GL_RGB, {255, 0, 0}},
        {4, GL_UNSIGNED_SHORT_5_6_5, GL_RGB, {0, 0xF8}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        // Rows of 33 pixels: no alignment helps.
        const auto buffer = Buffer(33, 5, c.format);
        GLTexture texture;
        ASSERT_TRUE(texture.Init(buffer->getNativeBuffer(), c.glFormat, c.glType, 33, 5));
        const auto* handle = buffer->getNativeBuffer()->handle;
        std::fill_n(Pixels(buffer), handle->size, static_cast<unsigned char>(255));
        EXPECT_EQ(OnGpu(texture.name(), 33, 5)[0], 0) << "not before the cache operation";
        ASSERT_EQ(CleanCache(gTestLog, buffer.get()), 1);
        for (const unsigned char byte : OnGpu(texture.name(), 33, 5)) ASSERT_EQ(byte, 255);

        Paint(texture.name(), 0.0F);
        EXPECT_EQ(Pixels(buffer)[0], 255) << "not before the cache operation";
        ASSERT_EQ(CleanCache(gTestLog, buffer.get()), 1);
        for (std::size_t i = 0; i < static_cast<std::size_t>(handle->size); ++i) {
            ASSERT_EQ(Pixels(buffer)[i], c.red[i % c.red.size()]) << i;
        }
    }
}

TEST_F(SharedImage, LeavesTheStateItFinds) {
    const auto buffer = Buffer(32, 4, 1);
    GLTexture shared;
    ASSERT_TRUE(shared.Init(buffer->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 32, 4));
    GLTexture other;
    ASSERT_TRUE(other.Init(GL_RGBA, GL_UNSIGNED_BYTE, 8, 8, 0));
    GLFbo fbo;
    ASSERT_TRUE(fbo.Init());
    fbo.Bind();
    glActiveTexture(GL_TEXTURE2);
    other.Bind();
    glPixelStorei(GL_UNPACK_ALIGNMENT, 2);
    glPixelStorei(GL_PACK_ALIGNMENT, 8);
    const auto state = [] {
        std::vector<GLint> values;
        for (const int name : {GL_ACTIVE_TEXTURE, GL_TEXTURE_BINDING_2D, GL_FRAMEBUFFER_BINDING,
                               GL_UNPACK_ALIGNMENT, GL_PACK_ALIGNMENT}) {
            glGetIntegerv(static_cast<GLenum>(name), &values.emplace_back());
        }
        return values;
    };
    const std::vector<GLint> before = state();
    CleanCache(gTestLog, buffer.get());
    EXPECT_EQ(state(), before);
    platform::NoteColorAttachment(shared.name());
    CleanCache(gTestLog, buffer.get());
    EXPECT_EQ(state(), before);
    glActiveTexture(GL_TEXTURE0);
}

TEST_F(SharedImage, SurvivesAnyOrderOfEndings) {
    auto first = Buffer(32, 4, 1);
    auto second = Buffer(32, 4, 1);
    auto a = std::make_unique<GLTexture>();
    auto b = std::make_unique<GLTexture>();
    ASSERT_TRUE(a->Init(first->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 32, 4));
    ASSERT_TRUE(b->Init(second->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, 32, 4));
    EXPECT_EQ(first->getStrongCount(), 2) << "the image holds the buffer";
    void* firstBase = Pixels(first);
    first.clear();
    static_cast<unsigned char*>(firstBase)[0] = 9;  // still mapped
    a.reset();
    // A new buffer may take the old one's place in memory; it has no texture.
    const auto third = Buffer(32, 4, 1);
    Fill(third, 200);
    EXPECT_EQ(OnGpu(b->name(), 32, 4)[0], 0);
    Fill(second, 50);
    EXPECT_EQ(OnGpu(b->name(), 32, 4)[0], 50);
}

EGLImageKHR Image(ANativeWindowBuffer* buffer, EGLenum target = EGL_NATIVE_BUFFER_ANDROID) {
    return platform::ContextExtensions().eglCreateImageKHR(g_eglDisplay, EGL_NO_CONTEXT, target,
                                                           buffer, nullptr);
}

void BindImage(GLuint texture, EGLImageKHR image) {
    glBindTexture(GL_TEXTURE_2D, texture);
    platform::ContextExtensions().glEGLImageTargetTexture2DOES(GL_TEXTURE_2D, image);
}

TEST_F(SharedImage, FollowsTexturesThatChangeHands) {
    const auto first = Buffer(32, 4, 1);
    const auto second = Buffer(32, 4, 1);
    std::array<EGLImageKHR, 3> images{Image(first->getNativeBuffer()),
                                      Image(second->getNativeBuffer()),
                                      Image(first->getNativeBuffer())};
    std::array<GLuint, 2> textures{};
    glGenTextures(2, textures.data());

    BindImage(textures[0], images[0]);
    BindImage(textures[0], images[1]);
    Fill(second, 20);
    Fill(first, 10);
    EXPECT_EQ(OnGpu(textures[0], 32, 4)[0], 20) << "the first buffer has lost the texture";

    // Two textures of one buffer: what is drawn through one shows in the other.
    BindImage(textures[0], images[0]);
    BindImage(textures[1], images[2]);
    EXPECT_EQ(OnGpu(textures[1], 32, 4)[0], 10) << "the buffer's present content";
    Paint(textures[1], 1.0F);
    EXPECT_EQ(CleanCache(gTestLog, first.get()), 1);
    EXPECT_EQ(Pixels(first)[0], 255);
    EXPECT_EQ(OnGpu(textures[0], 32, 4)[0], 255);

    // Textures that went before their images.
    glDeleteTextures(2, textures.data());
    Fill(first, 30);
    EXPECT_EQ(Pixels(first)[0], 30);
    EXPECT_FALSE(glIsTexture(textures[0]));
    for (EGLImageKHR image : images) {
        EXPECT_TRUE(platform::ContextExtensions().eglDestroyImageKHR(g_eglDisplay, image));
    }
    EXPECT_EQ(first->getStrongCount(), 1);
}

TEST_F(SharedImage, RefusesWhatIsNoBufferOrNoImage) {
    const platform::Extensions& extensions = platform::ContextExtensions();
    const auto buffer = Buffer(32, 4, 1);
    EXPECT_EQ(Image(nullptr), EGL_NO_IMAGE_KHR);
    EXPECT_EQ(Image(buffer->getNativeBuffer(), EGL_GL_TEXTURE_2D_KHR), EGL_NO_IMAGE_KHR);
    // Memory shorter than the rows would let GL read and write beyond it.
    for (const auto& [stride, height, missing] :
         {std::tuple{32, 4, 1}, {33, 4, 0}, {32, 5, 0}, {0, 4, 0}, {-32, -4, 0}}) {
        ANativeWindowBuffer native = *buffer->getNativeBuffer();
        private_handle_t handle = *native.handle;
        native.common.incRef = [](android_native_base_t*) { FAIL() << "held"; };
        native.common.decRef = [](android_native_base_t*) {};
        native.stride = stride;
        native.height = height;
        native.handle = &handle;
        handle.size -= missing;
        EXPECT_EQ(Image(&native), EGL_NO_IMAGE_KHR) << stride << "x" << height;
    }
    int nothing = 0;
    EXPECT_FALSE(extensions.eglDestroyImageKHR(g_eglDisplay, &nothing));
    extensions.glEGLImageTargetTexture2DOES(GL_TEXTURE_2D, &nothing);
    // Memory of the camera's: nothing to do.
    const auto allocator = gralloc::IAllocController::getInstance()->getAllocator(0);
    EXPECT_EQ(allocator->clean_buffer(&nothing, sizeof nothing, 0, -1, 3), 0);
}

}  // namespace
