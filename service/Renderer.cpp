// What the library renders with, for those who ask.
#include <posteffect/Renderer.h>

#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <thread>

#include "engine/GEManager.h"
#include "engine/LookUpTexture.h"
#include "gl/RendererKind.h"
#include "platform/Display.h"

namespace {

template <std::size_t kSize>
void CopyText(char (&to)[kSize], const char* from) {
    std::snprintf(to, kSize, "%s", from != nullptr ? from : "");
}

template <std::size_t kSize>
void CopyContextText(char (&to)[kSize], GLenum name) {
    CopyText(to, reinterpret_cast<const char*>(glGetString(name)));
}

// With the context that frames are processed with, on this thread. False when there is none.
bool Describe(PostEffectRenderer* renderer) {
    const GEManager manager;
    if (eglGetCurrentContext() == EGL_NO_CONTEXT) return false;
    CopyText(renderer->platform, platform::DisplayKind());
    CopyContextText(renderer->vendor, GL_VENDOR);
    CopyContextText(renderer->renderer, GL_RENDERER);
    CopyContextText(renderer->version, GL_VERSION);
    renderer->isSoftware = RendersInSoftware() ? 1 : 0;
    // A block is a texture that is rendered to.
    GLint texture = 0;
    std::array<GLint, 2> viewport{};
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &texture);
    glGetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport.data());
    renderer->maxTextureSize = std::min({texture, viewport[0], viewport[1]});
    renderer->sharesBuffers = platform::SharesBuffers() ? 1 : 0;
    return true;
}

bool DescribeOrGiveUp(PostEffectRenderer* renderer) {
    try {
        return Describe(renderer);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace

int describeRenderer(PostEffectRenderer* renderer) {
    if (renderer == nullptr) return -1;
    *renderer = {};
    bool described = false;
    try {
        // The caller's thread may have a context of its own.
        std::thread([&] { described = DescribeOrGiveUp(renderer); }).join();
    } catch (const std::exception&) {
        // No thread, or no memory for one.
    }
    if (!described) *renderer = {};
    return described ? 0 : -1;
}

int findLookUpFile(const char* name, char* path, unsigned int capacity) {
    if (name == nullptr || (path == nullptr && capacity > 0)) return -1;
    try {
        const std::string file = SystemLookUpFile(name);
        std::snprintf(path, capacity, "%s", file.c_str());
        return access(file.c_str(), R_OK);
    } catch (const std::bad_alloc&) {
        if (capacity > 0) path[0] = '\0';
        return -1;
    }
}
