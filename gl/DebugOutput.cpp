#include "gl/DebugOutput.h"

#ifdef NDEBUG

void InstallDebugOutput() {}
unsigned ReportedGLErrors() {
    return 0;
}

#else

#include <atomic>

#include "gl/Log.h"
#include "platform/Extensions.h"

namespace {

LogTag gLog("GLDebug");
std::atomic<unsigned> gErrors{0};

void GL_APIENTRY OnMessage(GLenum, GLenum type, GLuint id, GLenum, GLsizei, const GLchar* text,
                           const void*) {
    if (type != GL_DEBUG_TYPE_ERROR_KHR) return;
    gErrors.fetch_add(1, std::memory_order_relaxed);
    LOG_ERROR(gLog, "driver message %u: %s", id, text);
}

}  // namespace

void InstallDebugOutput() {
    const auto setCallback = platform::ContextExtensions().glDebugMessageCallbackKHR;
    if (setCallback == nullptr) return;
    setCallback(OnMessage, nullptr);
    glEnable(GL_DEBUG_OUTPUT_KHR);
    glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS_KHR);
}

unsigned ReportedGLErrors() {
    return gErrors.load(std::memory_order_relaxed);
}

#endif
