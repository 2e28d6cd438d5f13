#include "gl/GECommon.h"

#include <GLES2/gl2.h>
#include <sys/time.h>

#include <array>

#include "gl/Log.h"

thread_local EGLDisplay g_eglDisplay = EGL_NO_DISPLAY;
thread_local EGLContext g_eglContext = EGL_NO_CONTEXT;

namespace {

LogTag gLog("GECommon");

constexpr EGLint kFirstEGLCode = EGL_SUCCESS;
constexpr std::array<const char*, 15> kEGLNames = {
    "EGL_SUCCESS",       "EGL_NOT_INITIALIZED", "EGL_BAD_ACCESS",        "EGL_BAD_ALLOC",
    "EGL_BAD_ATTRIBUTE", "EGL_BAD_CONFIG",      "EGL_BAD_CONTEXT",       "EGL_BAD_CURRENT_SURFACE",
    "EGL_BAD_DISPLAY",   "EGL_BAD_MATCH",       "EGL_BAD_NATIVE_PIXMAP", "EGL_BAD_NATIVE_WINDOW",
    "EGL_BAD_PARAMETER", "EGL_BAD_SURFACE",     "EGL_CONTEXT_LOST",
};

constexpr GLenum kFirstGLCode = GL_INVALID_ENUM;
// Two codes belong to desktop GL only and have no name here.
constexpr std::array<const char*, 6> kGLNames = {
    "GL_INVALID_ENUM", "GL_INVALID_VALUE", "GL_INVALID_OPERATION", "", "", "GL_OUT_OF_MEMORY",
};

// Codes outside the table have an empty name.
template <std::size_t N>
const char* NameOf(const std::array<const char*, N>& names, unsigned first, unsigned code) {
    const unsigned index = code - first;  // wraps to a large number below `first`
    return index < N ? names[index] : "";
}

bool Report(const char* where, const char* call, unsigned code, const char* name) {
    LOG_ERROR(gLog, "[%s] ERROR, %s failed with error: 0x%X %s\n", where, call, code, name);
    return false;
}

}  // namespace

bool CheckEGLError(const char* where, const char* call) {
    const EGLint code = eglGetError();
    if (code == EGL_SUCCESS) return true;
    const auto unsignedCode = static_cast<unsigned>(code);
    return Report(where, call, unsignedCode, NameOf(kEGLNames, kFirstEGLCode, unsignedCode));
}

bool CheckGLError(const char* where, const char* call) {
    const GLenum code = glGetError();
    if (code == GL_NO_ERROR) return true;
    return Report(where, call, code, NameOf(kGLNames, kFirstGLCode, code));
}

void DrainGLErrors() {
    // Bounded: without a current context some drivers report an error for ever.
    for (int i = 0; i < 32 && glGetError() != GL_NO_ERROR; ++i) {
    }
}

uint32_t GetTickCount() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<uint32_t>(now.tv_sec) * 1000U + static_cast<uint32_t>(now.tv_usec / 1000);
}
