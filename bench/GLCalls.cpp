#include "bench/GLCalls.h"

#include <GLES2/gl2.h>
#include <dlfcn.h>

#include <atomic>
#include <cstring>
#include <type_traits>

namespace bench {

namespace {

std::atomic<GLListener*> gListener{nullptr};

// Parameters are those of the driver's function, whatever the arguments look like.
template <typename Type>
struct Exactly {
    using type = Type;
};

template <GLWork kWork, typename Result, typename... Parameters>
Result Pass(Result (*real)(Parameters...), typename Exactly<Parameters>::type... arguments) {
    GLListener* const listener = gListener;
    if (listener == nullptr) return real(arguments...);
    listener->before(kWork, [=] { real(arguments...); });
    if constexpr (std::is_void_v<Result>) {
        real(arguments...);
        listener->after(kWork);
    } else {
        const Result result = real(arguments...);
        listener->after(kWork);
        return result;
    }
}

const void* Keep(const void* bytes, std::size_t size) {
    GLListener* const listener = gListener;
    return listener == nullptr ? bytes : listener->keep(bytes, size);
}

const GLfloat* KeepFloats(const GLfloat* values, GLsizei count) {
    return static_cast<const GLfloat*>(
        Keep(values, static_cast<std::size_t>(count) * sizeof(GLfloat)));
}

std::size_t PixelBytes(GLsizei width, GLsizei height) {
    return 4 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

void* ReadTo(void* pixels, GLsizei width, GLsizei height) {
    GLListener* const listener = gListener;
    if (listener != nullptr) listener->reads(pixels, PixelBytes(width, height));
    return pixels;
}

const void* UploadFrom(const void* pixels, GLenum format, GLsizei width, GLsizei height) {
    GLListener* const listener = gListener;
    if (listener != nullptr && format == GL_RGBA) {
        listener->uploads(pixels, PixelBytes(width, height));
    }
    return pixels;
}

// The four corners of a quad, unless they lie in a buffer object.
const void* KeepCorners(const void* values, GLint size) {
    GLint buffer = 0;
    if (gListener != nullptr) glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &buffer);
    return buffer != 0 ? values
                       : Keep(values, 4 * static_cast<std::size_t>(size) * sizeof(GLfloat));
}

}  // namespace

void Listen(GLListener* listener) {
    gListener = listener;
}

void GLRecorder::before(GLWork work, const std::function<void()>& call) {
    if (work != GLWork::kQuery) m_calls.push_back(call);
}

const void* GLRecorder::keep(const void* bytes, std::size_t size) {
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    m_kept.emplace_back(first, first + size);
    return m_kept.back().data();
}

void GLRecorder::reads(void* pixels, std::size_t size) {
    m_read.push_back({static_cast<std::uint8_t*>(pixels), size});
}

void GLRecorder::uploads(const void* pixels, std::size_t size) {
    // The caller's own memory, which only this interface passes as constant.
    m_uploaded.push_back({static_cast<std::uint8_t*>(const_cast<void*>(pixels)), size});
}

void GLRecorder::replay() const {
    for (const auto& call : m_calls) call();
}

bool GLRecorder::replaysTheSame() const {
    std::vector<std::vector<std::uint8_t>> expected;
    for (const Pixels& pixels : m_read) {
        expected.emplace_back(pixels.first, pixels.first + pixels.size);
    }
    for (const Pixels& pixels : m_read) std::memset(pixels.first, 0x55, pixels.size);
    replay();
    bool same = !m_read.empty();
    for (std::size_t i = 0; i < m_read.size(); ++i) {
        same = same && std::memcmp(m_read[i].first, expected[i].data(), m_read[i].size) == 0;
    }
    return same;
}

void GLErrand::before(GLWork, const std::function<void()>&) {
    Listen(nullptr);
    m_work();
}

}  // namespace bench

// Parameters and arguments come in brackets of their own. NOLINTBEGIN(bugprone-macro-parentheses)
#define GL_CALL(work, result, name, parameters, arguments)                                        \
    extern "C" __attribute__((visibility("default"))) result name parameters {                    \
        static const auto real = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name)); \
        return bench::Pass<bench::GLWork::work> arguments;                                        \
    }

// NOLINTEND(bugprone-macro-parentheses)

// What else is called in a frame only asks.
// clang-format off
GL_CALL(kQuery, GLenum, glGetError, (), (real))
GL_CALL(kState, void, glActiveTexture, (GLenum unit), (real, unit))
GL_CALL(kState, void, glEnable, (GLenum what), (real, what))
GL_CALL(kState, void, glDisable, (GLenum what), (real, what))
GL_CALL(kState, void, glBindBuffer, (GLenum target, GLuint name), (real, target, name))
GL_CALL(kState, void, glBindTexture, (GLenum target, GLuint name), (real, target, name))
GL_CALL(kState, void, glTexParameteri, (GLenum target, GLenum key, GLint value), (real, target, key, value))
GL_CALL(kState, void, glPixelStorei, (GLenum key, GLint value), (real, key, value))
GL_CALL(kState, void, glBindFramebuffer, (GLenum target, GLuint name), (real, target, name))
GL_CALL(kState, void, glFramebufferTexture2D,
        (GLenum target, GLenum point, GLenum textureTarget, GLuint name, GLint level),
        (real, target, point, textureTarget, name, level))
GL_CALL(kState, void, glViewport, (GLint x, GLint y, GLsizei w, GLsizei h), (real, x, y, w, h))
GL_CALL(kState, void, glUseProgram, (GLuint name), (real, name))
GL_CALL(kState, void, glUniform1i, (GLint at, GLint x), (real, at, x))
GL_CALL(kState, void, glUniform1f, (GLint at, GLfloat x), (real, at, x))
GL_CALL(kState, void, glUniform2f, (GLint at, GLfloat x, GLfloat y), (real, at, x, y))
GL_CALL(kState, void, glUniform3f, (GLint at, GLfloat x, GLfloat y, GLfloat z), (real, at, x, y, z))
GL_CALL(kState, void, glUniform4f, (GLint at, GLfloat x, GLfloat y, GLfloat z, GLfloat w),
        (real, at, x, y, z, w))
GL_CALL(kState, void, glUniform1fv, (GLint at, GLsizei n, const GLfloat* v),
        (real, at, n, bench::KeepFloats(v, n)))
GL_CALL(kState, void, glUniform2fv, (GLint at, GLsizei n, const GLfloat* v),
        (real, at, n, bench::KeepFloats(v, 2 * n)))
GL_CALL(kState, void, glUniform3fv, (GLint at, GLsizei n, const GLfloat* v),
        (real, at, n, bench::KeepFloats(v, 3 * n)))
GL_CALL(kState, void, glUniform4fv, (GLint at, GLsizei n, const GLfloat* v),
        (real, at, n, bench::KeepFloats(v, 4 * n)))
GL_CALL(kState, void, glUniformMatrix4fv,
        (GLint at, GLsizei n, GLboolean transposed, const GLfloat* v),
        (real, at, n, transposed, bench::KeepFloats(v, 16 * n)))
GL_CALL(kState, void, glVertexAttribPointer,
        (GLuint at, GLint size, GLenum type, GLboolean normalized, GLsizei stride, const void* v),
        (real, at, size, type, normalized, stride, bench::KeepCorners(v, size)))
GL_CALL(kState, void, glEnableVertexAttribArray, (GLuint at), (real, at))
GL_CALL(kState, void, glDisableVertexAttribArray, (GLuint at), (real, at))
GL_CALL(kDraw, void, glDrawElements,
        (GLenum mode, GLsizei n, GLenum type, const void* indices), (real, mode, n, type, indices))
GL_CALL(kDraw, void, glDrawArrays, (GLenum mode, GLint first, GLsizei n), (real, mode, first, n))
GL_CALL(kUpload, void, glTexSubImage2D,
        (GLenum target, GLint level, GLint x, GLint y, GLsizei w, GLsizei h, GLenum format,
         GLenum type, const void* pixels),
        (real, target, level, x, y, w, h, format, type,
         bench::UploadFrom(pixels, format, w, h)))
GL_CALL(kReadBack, void, glReadPixels,
        (GLint x, GLint y, GLsizei w, GLsizei h, GLenum format, GLenum type, void* pixels),
        (real, x, y, w, h, format, type, bench::ReadTo(pixels, w, h)))
GL_CALL(kWait, void, glFlush, (), (real))
GL_CALL(kWait, void, glFinish, (), (real))
// clang-format on

void bench::WaitForGL() {
    GLListener* const listener = gListener.exchange(nullptr);
    glFinish();
    gListener = listener;
}
