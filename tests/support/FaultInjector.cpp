// The checked variants of the functions below would be defined twice.
#undef _FORTIFY_SOURCE

#include "tests/support/FaultInjector.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "platform/Extensions.h"
#include "tests/support/GLObjectCount.h"

// Bounds of the executable's code, from the linker.
extern "C" const char __executable_start;  // NOLINT(bugprone-reserved-identifier)
extern "C" const char etext;

namespace testing_support {

namespace {

constexpr std::array<const char*, kFaultCount> kNames = {
    "display",       "context", "EGL image", "glGen",       "shader",
    "program",       "compile", "link",      "framebuffer", "glTexImage2D",
    "shared memory", "thread",  "open",      "read",        "new"};

std::atomic<bool> gCounting{false};
std::atomic<Fault> gFault{Fault::kDisplay};
std::atomic<long> gNth{0};
std::atomic<bool> gLasting{false};
std::atomic<long> gInjected{0};
std::array<std::atomic<long>, kFaultCount> gCalls{};
std::atomic<int> gImages{0};
thread_local GLenum gError = GL_NO_ERROR;
thread_local EGLint gEGLError = EGL_SUCCESS;

template <typename Function>
Function Real(Function, const char* name) {
    void* symbol = dlsym(RTLD_NEXT, name);
    if (symbol == nullptr) std::abort();
    return reinterpret_cast<Function>(symbol);
}

bool Fails(Fault fault) {
    if (!gCounting) return false;
    const long call = ++gCalls[static_cast<std::size_t>(fault)];
    const long nth = gNth;
    if (fault != gFault || nth == 0 || (gLasting ? call < nth : call != nth)) return false;
    ++gInjected;
    return true;
}

bool Fails(Fault fault, const void* caller) {
    return caller >= &__executable_start && caller < &etext && Fails(fault);
}

bool FailsEGL(Fault fault, EGLint error) {
    if (!Fails(fault)) return false;
    gEGLError = error;
    return true;
}

bool FailsGL(Fault fault) {
    if (!Fails(fault)) return false;
    gError = GL_OUT_OF_MEMORY;
    return true;
}

bool RefusesObject(GLObjectKind kind) {
    switch (kind) {
        case GLObjectKind::kShader:
            return FailsGL(Fault::kShader);
        case GLObjectKind::kProgram:
            return FailsGL(Fault::kProgram);
        default:
            return FailsGL(Fault::kGenerate);
    }
}

PFNEGLCREATEIMAGEKHRPROC gCreateImage = nullptr;
PFNEGLDESTROYIMAGEKHRPROC gDestroyImage = nullptr;

EGLImageKHR EGLAPIENTRY CreateImage(EGLDisplay display, EGLContext context, EGLenum target,
                                    EGLClientBuffer buffer, const EGLint* attributes) {
    if (FailsEGL(Fault::kImage, EGL_BAD_ALLOC)) return EGL_NO_IMAGE_KHR;
    const EGLImageKHR image = gCreateImage(display, context, target, buffer, attributes);
    gImages += image != EGL_NO_IMAGE_KHR ? 1 : 0;
    return image;
}

EGLBoolean EGLAPIENTRY DestroyImage(EGLDisplay display, EGLImageKHR image) {
    const EGLBoolean destroyed = gDestroyImage(display, image);
    gImages -= destroyed != EGL_FALSE ? 1 : 0;
    return destroyed;
}

// The thread's table has its images when the context is asked for its extensions.
void ReplaceImages() {
    platform::Extensions& table = platform::ContextExtensions();
    if (table.eglCreateImageKHR == nullptr || table.eglCreateImageKHR == CreateImage) return;
    gCreateImage = table.eglCreateImageKHR;
    gDestroyImage = table.eglDestroyImageKHR;
    table.eglCreateImageKHR = CreateImage;
    table.eglDestroyImageKHR = DestroyImage;
}

EGLDisplay EGLAPIENTRY PlatformDisplay(EGLenum platform, void* native, const EGLint* attributes) {
    using Address = decltype(&eglGetProcAddress);
    static const auto address = Real<Address>(&eglGetProcAddress, "eglGetProcAddress");
    static const auto real =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(address("eglGetPlatformDisplayEXT"));
    if (FailsEGL(Fault::kDisplay, EGL_BAD_PARAMETER)) return EGL_NO_DISPLAY;
    return real(platform, native, attributes);
}

void* Allocate(std::size_t size, const void* caller) {
    if (Fails(Fault::kNew, caller)) return nullptr;
    return std::malloc(size > 0 ? size : 1);
}

void* AllocateOrThrow(std::size_t size, const void* caller) {
    void* memory = Allocate(size, caller);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

const char* NameOf(Fault fault) {
    return kNames[static_cast<std::size_t>(fault)];
}

FaultPlan::FaultPlan(Fault fault, long nth, bool lasting) {
    SetGLObjectFilter(RefusesObject);
    for (auto& calls : gCalls) calls = 0;
    gInjected = 0;
    gFault = fault;
    gNth = nth;
    gLasting = lasting;
    gCounting = true;
}

FaultPlan::~FaultPlan() {
    gCounting = false;
}

long FaultPlan::Calls(Fault fault) {
    return gCalls[static_cast<std::size_t>(fault)];
}

long FaultPlan::Injected() {
    return gInjected;
}

int LiveImages() {
    return gImages;
}

}  // namespace testing_support

using namespace testing_support;  // NOLINT(google-build-using-namespace)

#define EXPORTED __attribute__((visibility("default")))
#define INTERPOSE extern "C" EXPORTED
#define REAL(name) static const auto real = Real(&(name), #name)
#define CALLER __builtin_return_address(0)
// A function that answers `refused` where it is to fail.
#define REFUSABLE(result, name, parameters, arguments, fails, refused) \
    INTERPOSE result name parameters {                                 \
        REAL(name);                                                    \
        if (fails) return refused;                                     \
        return real arguments;                                         \
    }

REFUSABLE(EGLDisplay, eglGetDisplay, (EGLNativeDisplayType native), (native),
          FailsEGL(Fault::kDisplay, EGL_BAD_PARAMETER), EGL_NO_DISPLAY)
REFUSABLE(EGLBoolean, eglInitialize, (EGLDisplay display, EGLint* major, EGLint* minor),
          (display, major, minor), FailsEGL(Fault::kDisplay, EGL_NOT_INITIALIZED), EGL_FALSE)
REFUSABLE(EGLBoolean, eglChooseConfig,
          (EGLDisplay display, const EGLint* attributes, EGLConfig* configs, EGLint capacity,
           EGLint* count),
          (display, attributes, configs, capacity, count),
          FailsEGL(Fault::kDisplay, EGL_BAD_ATTRIBUTE), EGL_FALSE)
REFUSABLE(EGLContext, eglCreateContext,
          (EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes),
          (display, config, share, attributes), FailsEGL(Fault::kContext, EGL_BAD_ALLOC),
          EGL_NO_CONTEXT)
REFUSABLE(EGLSurface, eglCreatePbufferSurface,
          (EGLDisplay display, EGLConfig config, const EGLint* attributes),
          (display, config, attributes), FailsEGL(Fault::kContext, EGL_BAD_ALLOC), EGL_NO_SURFACE)
// Letting the context go does not fail: nothing could be done about it.
REFUSABLE(EGLBoolean, eglMakeCurrent,
          (EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context),
          (display, draw, read, context),
          context != EGL_NO_CONTEXT && FailsEGL(Fault::kContext, EGL_CONTEXT_LOST), EGL_FALSE)
INTERPOSE __eglMustCastToProperFunctionPointerType eglGetProcAddress(const char* name) {
    REAL(eglGetProcAddress);
    if (std::strcmp(name, "eglGetPlatformDisplayEXT") == 0) {
        return reinterpret_cast<__eglMustCastToProperFunctionPointerType>(PlatformDisplay);
    }
    return real(name);
}
INTERPOSE EGLint eglGetError() {
    REAL(eglGetError);
    const EGLint injected = std::exchange(gEGLError, EGL_SUCCESS);
    return injected != EGL_SUCCESS ? injected : real();
}

INTERPOSE GLenum glGetError() {
    REAL(glGetError);
    const GLenum injected = std::exchange(gError, GL_NO_ERROR);
    return injected != GL_NO_ERROR ? injected : real();
}
INTERPOSE const GLubyte* glGetString(GLenum name) {
    REAL(glGetString);
    if (name == GL_EXTENSIONS) ReplaceImages();
    return real(name);
}
INTERPOSE void glGetShaderiv(GLuint shader, GLenum what, GLint* value) {
    REAL(glGetShaderiv);
    real(shader, what, value);
    if (what == GL_COMPILE_STATUS && Fails(Fault::kCompileStatus)) *value = GL_FALSE;
}
INTERPOSE void glGetProgramiv(GLuint program, GLenum what, GLint* value) {
    REAL(glGetProgramiv);
    real(program, what, value);
    if (what == GL_LINK_STATUS && Fails(Fault::kLinkStatus)) *value = GL_FALSE;
}
REFUSABLE(GLenum, glCheckFramebufferStatus, (GLenum target), (target), Fails(Fault::kFramebuffer),
          GL_FRAMEBUFFER_UNSUPPORTED)
REFUSABLE(void, glTexImage2D,
          (GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height,
           GLint border, GLenum format, GLenum type, const void* pixels),
          (target, level, internalFormat, width, height, border, format, type, pixels),
          FailsGL(Fault::kTexImage), void())

REFUSABLE(int, memfd_create, (const char* name, unsigned flags) noexcept, (name, flags),
          Fails(Fault::kSharedMemory, CALLER), (errno = EMFILE, -1))
REFUSABLE(int, ftruncate, (int fd, off_t size) noexcept, (fd, size),
          Fails(Fault::kSharedMemory, CALLER), (errno = ENOSPC, -1))
REFUSABLE(void*, mmap,
          (void* address, size_t size, int protection, int flags, int fd, off_t offset) noexcept,
          (address, size, protection, flags, fd, offset), Fails(Fault::kSharedMemory, CALLER),
          (errno = ENOMEM, MAP_FAILED))
REFUSABLE(int, pthread_create,
          (pthread_t * thread, const pthread_attr_t* attributes, void* (*entry)(void*),
           void* argument) noexcept,
          (thread, attributes, entry, argument), Fails(Fault::kThread, CALLER), EAGAIN)
REFUSABLE(FILE*, fopen, (const char* path, const char* mode), (path, mode),
          Fails(Fault::kOpen, CALLER), (errno = EIO, nullptr))
REFUSABLE(FILE*, fdopen, (int file, const char* mode), (file, mode), Fails(Fault::kOpen, CALLER),
          (errno = EMFILE, nullptr))
INTERPOSE size_t fread(void* to, size_t size, size_t count, FILE* file) {
    REAL(fread);
    return real(to, size, Fails(Fault::kRead, CALLER) ? count / 2 : count, file);
}
// What a fortified build calls for sizes that it cannot tell when it compiles.
INTERPOSE size_t __fread_chk(void* to, size_t room, size_t size, size_t count, FILE* file) {
    using Function = size_t (*)(void*, size_t, size_t, size_t, FILE*);
    static const auto real = Real(Function{}, "__fread_chk");
    return real(to, room, size, Fails(Fault::kRead, CALLER) ? count / 2 : count, file);
}

// The driver allocates through these, too.
EXPORTED void* operator new(std::size_t size) {
    return AllocateOrThrow(size, CALLER);
}
EXPORTED void* operator new[](std::size_t size) {
    return AllocateOrThrow(size, CALLER);
}
EXPORTED void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size, CALLER);
}
EXPORTED void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size, CALLER);
}
EXPORTED void operator delete(void* memory) noexcept {
    std::free(memory);
}
EXPORTED void operator delete[](void* memory) noexcept {
    std::free(memory);
}
EXPORTED void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
EXPORTED void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
