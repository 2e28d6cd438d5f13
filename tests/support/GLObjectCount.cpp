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

#define EXPORTED extern "C" __attribute__((visibility("default")))

// Names count once they are objects: after their first bind, which follows at once in the library.
#define COUNT_NAMED(Objects, kind, isObject)                                              \
    EXPORTED void glGen##Objects(GLsizei n, GLuint* names) {                              \
        static const auto real = Real<decltype(&glGen##Objects)>("glGen" #Objects);       \
        if (Refused(GLObjectKind::kind)) return;                                          \
        real(n, names);                                                                   \
        gLive += n;                                                                       \
    }                                                                                     \
    EXPORTED void glDelete##Objects(GLsizei n, const GLuint* names) {                     \
        static const auto real = Real<decltype(&glDelete##Objects)>("glDelete" #Objects); \
        CountDeleted(n, names, isObject);                                                 \
        real(n, names);                                                                   \
    }
COUNT_NAMED(Textures, kTexture, glIsTexture)
COUNT_NAMED(Framebuffers, kFramebuffer, glIsFramebuffer)

#define COUNT_CREATED(Object, kind, parameters, arguments)                              \
    EXPORTED GLuint glCreate##Object parameters {                                       \
        static const auto real = Real<decltype(&glCreate##Object)>("glCreate" #Object); \
        if (Refused(GLObjectKind::kind)) return 0;                                      \
        const GLuint name = real arguments;                                             \
        gLive += name != 0 ? 1 : 0;                                                     \
        return name;                                                                    \
    }                                                                                   \
    EXPORTED void glDelete##Object(GLuint name) {                                       \
        static const auto real = Real<decltype(&glDelete##Object)>("glDelete" #Object); \
        CountDeleted(1, &name, glIs##Object);                                           \
        real(name);                                                                     \
    }
COUNT_CREATED(Program, kProgram, (), ())
COUNT_CREATED(Shader, kShader, (GLenum type), (type))
