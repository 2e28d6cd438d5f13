#include "platform/linux/SharedImage.h"

#include <gralloc_priv.h>
#include <system/graphics.h>
#include <system/window.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "platform/linux/PixelBytes.h"

namespace platform {

namespace {

struct PixelLayout {
    int halFormat;
    GLenum format;
    GLenum type;
};

constexpr PixelLayout kLayouts[] = {
    {HAL_PIXEL_FORMAT_RGBA_8888, GL_RGBA, GL_UNSIGNED_BYTE},
    {HAL_PIXEL_FORMAT_RGB_888, GL_RGB, GL_UNSIGNED_BYTE},
    {HAL_PIXEL_FORMAT_RGB_565, GL_RGB, GL_UNSIGNED_SHORT_5_6_5},
};

const PixelLayout* LayoutOf(int halFormat) {
    for (const PixelLayout& layout : kLayouts) {
        if (layout.halFormat == halFormat) return &layout;
    }
    return nullptr;
}

// Whether the buffer's memory is there and as long as its rows say: GL reads and writes all of it.
bool HasAllItsRows(const ANativeWindowBuffer& buffer) {
    const private_handle_t* handle = buffer.handle;
    if (handle == nullptr || handle->base == nullptr || handle->size < 0) return false;
    const std::size_t bytesPerPixel = BytesPerPixel(buffer.format);
    if (buffer.stride <= 0 || buffer.height <= 0 || bytesPerPixel == 0) return false;
    const std::size_t pixels =
        static_cast<std::size_t>(buffer.stride) * static_cast<std::size_t>(buffer.height);
    return pixels <= static_cast<std::size_t>(handle->size) / bytesPerPixel;
}

GLuint Bound(GLenum query) {
    GLint name = 0;
    glGetIntegerv(query, &name);
    return static_cast<GLuint>(name);
}

// Puts back what moving pixels changes: the active unit's texture, the framebuffer, the alignments.
class StateKeeper {
  public:
    StateKeeper() {
        glGetIntegerv(GL_UNPACK_ALIGNMENT, &m_unpack);
        glGetIntegerv(GL_PACK_ALIGNMENT, &m_pack);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
    }
    ~StateKeeper() {
        glBindTexture(GL_TEXTURE_2D, m_texture);
        glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
        glPixelStorei(GL_UNPACK_ALIGNMENT, m_unpack);
        glPixelStorei(GL_PACK_ALIGNMENT, m_pack);
    }
    StateKeeper(const StateKeeper&) = delete;
    StateKeeper& operator=(const StateKeeper&) = delete;

  private:
    GLuint m_texture = Bound(GL_TEXTURE_BINDING_2D);
    GLuint m_framebuffer = Bound(GL_FRAMEBUFFER_BINDING);
    GLint m_unpack = 4;
    GLint m_pack = 4;
};

// How a texture comes to a buffer's pixels. Memory that the GPU itself can import would be one more
// class, whose cache operation only orders accesses.
class ImageStorage {
  public:
    virtual ~ImageStorage() = default;
    ImageStorage(const ImageStorage&) = delete;
    ImageStorage& operator=(const ImageStorage&) = delete;

    // Makes the buffer the storage of the texture that is bound to the active unit.
    virtual void Bind(GLuint texture) = 0;
    // The cache operation.
    virtual int Synchronize() = 0;

    bool Holds(const void* base, int fd) const {
        return m_buffer->handle->base == base && m_buffer->handle->fd == fd;
    }
    GLuint texture() const { return m_texture; }
    // The texture has other storage now, or none.
    void ForgetTexture() { m_texture = 0; }
    bool isTarget() const { return m_isTarget; }
    void NoteTarget() { m_isTarget = true; }

  protected:
    explicit ImageStorage(ANativeWindowBuffer* buffer) : m_buffer(buffer) {}

    ANativeWindowBuffer* m_buffer;
    GLuint m_texture = 0;
    bool m_isTarget = false;
};

// The texture has storage of its own; pixels are copied.
class CopiedStorage : public ImageStorage {
  public:
    CopiedStorage(ANativeWindowBuffer* buffer, const PixelLayout& layout)
        : ImageStorage(buffer), m_layout(layout) {
        buffer->common.incRef(&buffer->common);
    }
    ~CopiedStorage() override {
        if (m_framebuffer != 0) glDeleteFramebuffers(1, &m_framebuffer);
        m_buffer->common.decRef(&m_buffer->common);
    }

    void Bind(GLuint texture) override {
        const StateKeeper keeper;
        m_texture = texture;
        m_isTarget = false;
        glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(m_layout.format), m_buffer->stride,
                     m_buffer->height, 0, m_layout.format, m_layout.type, m_buffer->handle->base);
    }

    int Synchronize() override {
        // Binding the name of a deleted texture would make a new one of it.
        if (glIsTexture(m_texture) == GL_FALSE) ForgetTexture();
        if (m_texture == 0) return 0;
        const StateKeeper keeper;
        return m_isTarget ? ReadBack() : Upload();
    }

  private:
    int Upload() {
        glBindTexture(GL_TEXTURE_2D, m_texture);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, m_buffer->stride, m_buffer->height, m_layout.format,
                        m_layout.type, m_buffer->handle->base);
        return 0;
    }

    int ReadBack() {
        if (m_framebuffer == 0) glGenFramebuffers(1, &m_framebuffer);
        if (m_framebuffer == 0) return -1;  // the default one holds no pixels of ours
        glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, m_texture, 0);
        if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) return -1;
        auto* pixels = static_cast<unsigned char*>(m_buffer->handle->base);
        if (m_layout.format == GL_RGBA) {
            glReadPixels(0, 0, m_buffer->stride, m_buffer->height, GL_RGBA, GL_UNSIGNED_BYTE,
                         pixels);
        } else {
            ReadConverted(pixels);
        }
        return 0;
    }

    // Every target can be read as RGBA; the other formats are packed from that.
    void ReadConverted(unsigned char* out) const {
        const auto count =
            static_cast<std::size_t>(m_buffer->stride) * static_cast<std::size_t>(m_buffer->height);
        std::vector<unsigned char> rgba(count * 4);
        glReadPixels(0, 0, m_buffer->stride, m_buffer->height, GL_RGBA, GL_UNSIGNED_BYTE,
                     rgba.data());
        for (std::size_t i = 0; i < count; ++i) {
            const unsigned char* pixel = &rgba[i * 4];
            if (m_layout.type == GL_UNSIGNED_BYTE) {
                std::copy_n(pixel, 3, out + i * 3);
                continue;
            }
            const unsigned packed = (pixel[0] & 0xF8U) << 8U | (pixel[1] & 0xFCU) << 3U |
                                    static_cast<unsigned>(pixel[2]) >> 3U;
            out[i * 2] = static_cast<unsigned char>(packed & 0xFFU);
            out[i * 2 + 1] = static_cast<unsigned char>(packed >> 8U);
        }
    }

    const PixelLayout& m_layout;
    GLuint m_framebuffer = 0;
};

thread_local std::vector<std::unique_ptr<ImageStorage>> gImages;

auto Find(const void* image) {
    return std::find_if(gImages.begin(), gImages.end(),
                        [image](const auto& storage) { return storage.get() == image; });
}

}  // namespace

EGLImageKHR EGLAPIENTRY CreateSharedImage(EGLDisplay display, EGLContext context, EGLenum target,
                                          EGLClientBuffer buffer, const EGLint*) {
    auto* native = static_cast<ANativeWindowBuffer*>(buffer);
    if (display == EGL_NO_DISPLAY || context != EGL_NO_CONTEXT ||
        target != EGL_NATIVE_BUFFER_ANDROID || native == nullptr) {
        return EGL_NO_IMAGE_KHR;
    }
    const PixelLayout* layout = LayoutOf(native->format);
    if (layout == nullptr || !HasAllItsRows(*native)) return EGL_NO_IMAGE_KHR;
    gImages.push_back(std::make_unique<CopiedStorage>(native, *layout));
    return gImages.back().get();
}

EGLBoolean EGLAPIENTRY DestroySharedImage(EGLDisplay, EGLImageKHR image) {
    const auto found = Find(image);
    if (found == gImages.end()) return EGL_FALSE;
    gImages.erase(found);
    return EGL_TRUE;
}

void GL_APIENTRY BindSharedImage(GLenum target, GLeglImageOES image) {
    const auto found = Find(image);
    if (target != GL_TEXTURE_2D || found == gImages.end()) return;
    const GLuint texture = Bound(GL_TEXTURE_BINDING_2D);
    for (const auto& storage : gImages) {
        if (storage->texture() == texture) storage->ForgetTexture();
    }
    (*found)->Bind(texture);
}

void NoteSharedImageTarget(GLuint texture) {
    for (const auto& image : gImages) {
        if (texture != 0 && image->texture() == texture) image->NoteTarget();
    }
}

int SynchronizeSharedImage(const void* base, int fd) {
    int result = 0;
    // What the GPU drew first, so that other textures of the same buffer get it at once.
    for (const bool targets : {true, false}) {
        for (const auto& image : gImages) {
            if (image->isTarget() != targets || !image->Holds(base, fd)) continue;
            if (image->Synchronize() != 0) result = -1;
        }
    }
    return result;
}

}  // namespace platform
