#include "bench/GLTimer.h"

#include <GLES2/gl2.h>
#include <dlfcn.h>

#include <atomic>
#include <chrono>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<Clock::rep> gTicks{0};

template <typename Function, typename... Arguments>
void Timed(Function function, Arguments... arguments) {
    const auto started = Clock::now();
    function(arguments...);
    gTicks += (Clock::now() - started).count();
}

}  // namespace

double SecondsInGL() {
    return std::chrono::duration<double>(Clock::duration(gTicks.load())).count();
}

}  // namespace bench

// The calls of a frame that do work; the many that only set state count as the library's own time,
// to its disadvantage.
#define TIMED_CALL(name, parameters, ...)                                                    \
    extern "C" __attribute__((visibility("default"))) void name parameters {                 \
        static const auto real = reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name)); \
        bench::Timed(real, __VA_ARGS__);                                                     \
    }

TIMED_CALL(glDrawElements, (GLenum mode, GLsizei count, GLenum type, const void* indices), mode,
           count, type, indices)
TIMED_CALL(glReadPixels,
           (GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type,
            void* pixels),
           x, y, width, height, format, type, pixels)
TIMED_CALL(glTexSubImage2D,
           (GLenum target, GLint level, GLint x, GLint y, GLsizei width, GLsizei height,
            GLenum format, GLenum type, const void* pixels),
           target, level, x, y, width, height, format, type, pixels)

extern "C" __attribute__((visibility("default"))) void glFlush() {
    static const auto real = reinterpret_cast<decltype(&glFlush)>(dlsym(RTLD_NEXT, "glFlush"));
    bench::Timed(real);
}

extern "C" __attribute__((visibility("default"))) void glFinish() {
    static const auto real = reinterpret_cast<decltype(&glFinish)>(dlsym(RTLD_NEXT, "glFinish"));
    bench::Timed(real);
}
