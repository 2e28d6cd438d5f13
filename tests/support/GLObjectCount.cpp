#include "tests/support/GLObjectCount.h"

#include <GLES2/gl2.h>
#include <dlfcn.h>

#include <atomic>
#include <cstdlib>

namespace testing_support {

namespace {

std::atomic<int> gLive{0};
std::atomic<bool (*)(GLObjectKind)> gRefuses{nullptr};

bool Refused(GLObjectKind kind) {
    const auto refuses = gRefuses.load();
    return refuses != nullptr && refuses(kind);
}

// The driver's function of this name, behind ours.
template <typename Function>
Function Real(const char* name) {
    void* symbol = dlsym(RTLD_NEXT, name);
    if (symbol == nullptr) std::abort();
    return reinterpret_cast<Function>(symbol);
}

void CountDeleted(GLsizei count, const GLuint* names, GLboolean (*isObject)(GLuint)) {
    for (GLsizei i = 0; i < count; ++i) gLive -= isObject(names[i]) != GL_FALSE ? 1 : 0;
}

}  // namespace

int LiveGLObjects() {
    return gLive.load();
}

void SetGLObjectFilter(bool (*refuses)(GLObjectKind)) {
    gRefuses = refuses;
}

}  // namespace testing_support

using testing_support::CountDeleted;
using testing_support::gLive;
using testing_support::GLObjectKind;
using testing_support::Real;
using testing_support::Refused;

// Names count once they are objects: after their first bind, which follows at once in the library.
extern "C" {

__attribute__((visibility("default"))) void glGenTextures(GLsizei n, GLuint* names) {
    static const auto real = Real<decltype(&glGenTextures)>("glGenTextures");
    if (Refused(GLObjectKind::kTexture)) return;
    real(n, names);
    gLive += n;
}

__attribute__((visibility("default"))) void glDeleteTextures(GLsizei n, const GLuint* names) {
    static const auto real = Real<decltype(&glDeleteTextures)>("glDeleteTextures");
    CountDeleted(n, names, glIsTexture);
    real(n, names);
}

__attribute__((visibility("default"))) void glGenFramebuffers(GLsizei n, GLuint* names) {
    static const auto real = Real<decltype(&glGenFramebuffers)>("glGenFramebuffers");
    if (Refused(GLObjectKind::kFramebuffer)) return;
    real(n, names);
    gLive += n;
}

__attribute__((visibility("default"))) void glDeleteFramebuffers(GLsizei n, const GLuint* names) {
    static const auto real = Real<decltype(&glDeleteFramebuffers)>("glDeleteFramebuffers");
    CountDeleted(n, names, glIsFramebuffer);
    real(n, names);
}

__attribute__((visibility("default"))) GLuint glCreateProgram() {
    static const auto real = Real<decltype(&glCreateProgram)>("glCreateProgram");
    if (Refused(GLObjectKind::kProgram)) return 0;
    const GLuint name = real();
    gLive += name != 0 ? 1 : 0;
    return name;
}

__attribute__((visibility("default"))) void glDeleteProgram(GLuint name) {
    static const auto real = Real<decltype(&glDeleteProgram)>("glDeleteProgram");
    CountDeleted(1, &name, glIsProgram);
    real(name);
}

__attribute__((visibility("default"))) GLuint glCreateShader(GLenum type) {
    static const auto real = Real<decltype(&glCreateShader)>("glCreateShader");
    if (Refused(GLObjectKind::kShader)) return 0;
    const GLuint name = real(type);
    gLive += name != 0 ? 1 : 0;
    return name;
}

__attribute__((visibility("default"))) void glDeleteShader(GLuint name) {
    static const auto real = Real<decltype(&glDeleteShader)>("glDeleteShader");
    CountDeleted(1, &name, glIsShader);
    real(name);
}

}  // extern "C"
