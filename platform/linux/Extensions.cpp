#include "platform/Extensions.h"

#include <cstring>
#include <string_view>

#include "platform/Display.h"
#include "platform/linux/SharedImage.h"

namespace platform {

namespace {

thread_local Extensions gExtensions{};

bool Names(const char* list, std::string_view name) {
    std::string_view rest = list != nullptr ? list : "";
    while (!rest.empty()) {
        const std::size_t space = rest.find(' ');
        if (rest.substr(0, space) == name) return true;
        rest = space == std::string_view::npos ? std::string_view() : rest.substr(space + 1);
    }
    return false;
}

// eglGetProcAddress answers for names that the context lacks too, so the extension's name decides.
template <typename Function>
void Load(Function& entry, bool present, const char* name) {
    entry = present ? reinterpret_cast<Function>(eglGetProcAddress(name)) : nullptr;
}

}  // namespace

Extensions& ContextExtensions() {
    return gExtensions;
}

void LoadContextExtensions(EGLDisplay) {
    // Always the emulation: our graphics buffers are plain memory, which a driver that imports
    // native buffers would take for its own allocator's and misread.
    gExtensions.eglCreateImageKHR = CreateSharedImage;
    gExtensions.eglDestroyImageKHR = DestroySharedImage;
    gExtensions.glEGLImageTargetTexture2DOES = BindSharedImage;

    const auto* list = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
    const bool fences = Names(list, "GL_NV_fence");
    Load(gExtensions.glGenFencesNV, fences, "glGenFencesNV");
    Load(gExtensions.glDeleteFencesNV, fences, "glDeleteFencesNV");
    Load(gExtensions.glIsFenceNV, fences, "glIsFenceNV");
    const bool binaries = Names(list, "GL_OES_get_program_binary");
    Load(gExtensions.glGetProgramBinaryOES, binaries, "glGetProgramBinaryOES");
    Load(gExtensions.glProgramBinaryOES, binaries, "glProgramBinaryOES");
    const bool debug = Names(list, "GL_KHR_debug");
    Load(gExtensions.glDebugMessageCallbackKHR, debug, "glDebugMessageCallbackKHR");
}

void NoteColorAttachment(GLuint texture) {
    NoteSharedImageTarget(texture);
}

}  // namespace platform
