#include "gl/GLTexture.h"

#include <gralloc_priv.h>
#include <hardware/gralloc.h>
#include <system/graphics.h>
#include <system/window.h>

#include "gl/CacheMaintenance.h"
#include "gl/GECommon.h"
#include "gl/Log.h"
#include "platform/Extensions.h"

namespace {

LogTag gLog("GLTexture");

struct PixelFormat {
    unsigned format;
    unsigned type;
    unsigned bytesPerPixel;
    int halFormat;
};

constexpr PixelFormat kFormats[] = {
    {GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 2, HAL_PIXEL_FORMAT_RGB_565},
    {GL_RGB, GL_UNSIGNED_BYTE, 3, HAL_PIXEL_FORMAT_RGB_888},
    {GL_RGBA, GL_UNSIGNED_BYTE, 4, HAL_PIXEL_FORMAT_RGBA_8888},
};

const PixelFormat* FindFormat(unsigned format, unsigned type) {
    for (const PixelFormat& row : kFormats) {
        if (row.format == format && row.type == type) return &row;
    }
    return nullptr;
}

// Whether the buffer has memory for such a picture, which the CPU reads and writes in place.
bool Holds(const ANativeWindowBuffer& buffer, const PixelFormat* pixel, unsigned width,
           unsigned height) {
    if (pixel == nullptr) return true;
    const private_handle_t* handle = private_handle_t::dynamicCast(buffer.handle);
    const uint64_t bytes = uint64_t{static_cast<unsigned>(buffer.stride)} *
                           static_cast<unsigned>(buffer.height) * pixel->bytesPerPixel;
    return width <= static_cast<unsigned>(buffer.stride) &&
           height <= static_cast<unsigned>(buffer.height) &&
           bytes <= static_cast<unsigned>(handle->size);
}

// Diagnosis only: a texture on a foreign display or context still works as far as GL lets it.
void ReportUnequal(const char* operation, const char* what) {
    LOG_ERROR(gLog, "[GLTexture::%s] ######################", operation);
    LOG_ERROR(gLog, "[GLTexture::%s] unequal %s", operation, what);
    LOG_ERROR(gLog, "[GLTexture::%s] ######################", operation);
}

}  // namespace

GLTexture::~GLTexture() {
    LOG_INFO(gLog, "[%s] enter", "~GLTexture");
    LOG_INFO(gLog, "[GLTexture::~GLTexture] deleting %s tex %d",
             m_bStreaming ? "<ST Operation>" : "", static_cast<int>(m_nTexture));
    DestroyImage();
    LOG_INFO(gLog, "[GLTexture::~GLTexture] glDeleteTextures");
    glDeleteTextures(1, &m_nTexture);
    LOG_INFO(gLog, "[GLTexture::~GLTexture] glDeleteTextures returned");
    LOG_INFO(gLog, "[%s] leave", "~GLTexture");
    m_spBuffer.clear();
}

void GLTexture::DestroyImage() {
    if (m_image == nullptr) return;
    const EGLDisplay display = eglGetCurrentDisplay();
    if (display != g_eglDisplay) ReportUnequal("~GLTexture", "display");
    LOG_INFO(gLog, "[GLTexture::~GLTexture] eglDestroyImageKHR");
    platform::ContextExtensions().eglDestroyImageKHR(display, m_image);
    LOG_INFO(gLog, "[GLTexture::~GLTexture] eglDestroyImageKHR returned");
    m_image = nullptr;
}

// A second Init replaces what the first one made. The name may be another's from here on.
void GLTexture::ReleaseTexture() {
    DestroyImage();
    if (m_nTexture != kUnset) glDeleteTextures(1, &m_nTexture);
    m_nTexture = kUnset;
}

bool GLTexture::Init(unsigned format, unsigned type, unsigned width, unsigned height,
                     unsigned char ST) {
    LOG_INFO(gLog, "[%s] enter", "Init");
    LOG_INFO(gLog, "[%s] format=%u, type=%u, width=%d(%d), height=%d, ST=%d", "Init", format, type,
             static_cast<int>(width), static_cast<int>(RoundUp32(width)), static_cast<int>(height),
             ST);
    return ST != 0 ? InitStreaming(format, type, width, height)
                   : InitNormal(format, type, width, height);
}

bool GLTexture::InitNormal(unsigned format, unsigned type, unsigned width, unsigned height) {
    ReleaseTexture();
    glGenTextures(1, &m_nTexture);
    if (!CheckGLError("GLTexture::Init", "glGenTextures")) return false;
    glBindTexture(m_nTarget, m_nTexture);
    if (!CheckGLError("GLTexture::Init", "glBindTexture")) return false;
    glTexImage2D(m_nTarget, 0, static_cast<GLint>(format), static_cast<GLsizei>(width),
                 static_cast<GLsizei>(height), 0, format, type, nullptr);
    if (!CheckGLError("GLTexture::Init", "glTexImage2D")) return false;
    SetParameters(GL_LINEAR, GL_REPEAT);

    m_nWidth = width;
    m_nStride = width;
    m_nHeight = height;
    m_nFormat = format;
    m_nType = type;
    m_bStreaming = false;
    if (const PixelFormat* row = FindFormat(format, type)) m_nBpp = row->bytesPerPixel;
    LOG_INFO(gLog, "[%s] tex %d created", "Init", static_cast<int>(m_nTexture));
    LOG_INFO(gLog, "[%s] leave", "Init");
    return true;
}

bool GLTexture::InitStreaming(unsigned format, unsigned type, unsigned width, unsigned height) {
    if (format == kFormatYUV) {
        LOG_ERROR(gLog, "[%s] YUV ST created in this way not implemented", "Init");
        return false;
    }
    const PixelFormat* row = FindFormat(format, type);
    if (row == nullptr) {
        LOG_ERROR(gLog, "[%s] ST only supports RGB565/RGB88/RGBA", "Init");
        return false;
    }
    m_nBpp = row->bytesPerPixel;
    m_spBuffer =
        new android::GraphicBuffer(RoundUp32(width), height, row->halFormat,
                                   GRALLOC_USAGE_HW_TEXTURE | GRALLOC_USAGE_SW_WRITE_OFTEN);
    if (m_spBuffer->initCheck() != 0) {
        LOG_ERROR(gLog, "[%s] can't allocate graphics buffer", "Init");
        return false;
    }
    ANativeWindowBuffer* native = m_spBuffer->getNativeBuffer();
    m_pData = private_handle_t::dynamicCast(native->handle)->base;
    return Init(native, format, type, width, height);
}

bool GLTexture::Init(ANativeWindowBuffer* buffer, unsigned format, unsigned type, unsigned width,
                     unsigned height) {
    LOG_INFO(gLog, "[%s] enter", "Init");
    const private_handle_t* handle =
        buffer != nullptr ? private_handle_t::dynamicCast(buffer->handle) : nullptr;
    if (handle == nullptr) {
        LOG_ERROR(gLog, "[%s] no native buffer", "Init");
        return false;
    }
    if (!Holds(*buffer, FindFormat(format, type), width, height)) {
        LOG_ERROR(gLog, "[%s] native buffer too small for %dx%d", "Init", static_cast<int>(width),
                  static_cast<int>(height));
        return false;
    }
    const EGLDisplay display = eglGetCurrentDisplay();
    if (!CheckEGLError("GLTexture::Init", "eglGetCurrentDisplay")) return false;
    const EGLContext context = eglGetCurrentContext();
    if (!CheckEGLError("GLTexture::Init", "eglGetCurrentContext")) return false;
    if (display != g_eglDisplay) ReportUnequal("Init", "display");
    if (context != g_eglContext) ReportUnequal("Init", "context");

    ReleaseTexture();
    const platform::Extensions& extensions = platform::ContextExtensions();
    constexpr EGLint kAttributes[] = {EGL_IMAGE_PRESERVED_KHR, EGL_TRUE, EGL_NONE, EGL_NONE};
    if (extensions.eglCreateImageKHR == nullptr) {
        LOG_ERROR(gLog, "[%s] no current context", "Init");
        return false;
    }
    m_image = extensions.eglCreateImageKHR(display, EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID,
                                           static_cast<EGLClientBuffer>(buffer), kAttributes);
    if (!CheckEGLError("GLTexture::Init", "eglCreateImageKHR") || m_image == nullptr) return false;

    // A YUV buffer has no target that GL knows, so each bind of it reports an error.
    m_nTarget = format == kFormatYUV ? kUnset : GL_TEXTURE_2D;
    glGenTextures(1, &m_nTexture);
    if (!CheckGLError("GLTexture::Init", "glGenTextures")) return false;
    glBindTexture(m_nTarget, m_nTexture);
    if (!CheckGLError("GLTexture::Init", "glBindTexture")) return false;
    if (!m_bLeftToCPU) extensions.glEGLImageTargetTexture2DOES(m_nTarget, m_image);
    if (!CheckEGLError("GLTexture::Init", "glEGLImageTargetTexture2DOES")) return false;
    // A texture that got no storage draws black.
    if (!CheckGLError("GLTexture::Init", "glEGLImageTargetTexture2DOES")) return false;
    SetParameters(GL_LINEAR, GL_REPEAT);

    m_nFormat = format;
    m_nType = type;
    m_bStreaming = true;
    m_nWidth = width;
    m_nNativeStride = static_cast<unsigned>(buffer->stride);
    m_nHeight = height;
    m_nStride = RoundUp32(width);

    if (m_pData != nullptr && m_pData != handle->base) {
        LOG_ERROR(gLog,
                  "[%s] m_pData (%u) already assigned and not equal to passed-in native buffer "
                  "addr %u",
                  "Init", AddressForLog(m_pData), AddressForLog(handle->base));
        return false;
    }
    m_pData = handle->base;
    const float kilobytes =
        static_cast<float>(static_cast<int>(width * height * m_nBpp)) * 0.0009765625F;
    LOG_INFO(gLog,
             "[%s] <ST Operation> ST %d created. alloc %d(%d) x %d x %d Bpp = %f KB native buf at "
             "%u",
             "Init", static_cast<int>(m_nTexture), static_cast<int>(width),
             static_cast<int>(m_nStride), static_cast<int>(height), static_cast<int>(m_nBpp),
             static_cast<double>(kilobytes), AddressForLog(handle->base));
    LOG_INFO(gLog, "[%s] leave", "Init");
    return true;
}

void GLTexture::SetParameters(GLint filter, GLint wrap) const {
    glTexParameteri(m_nTarget, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(m_nTarget, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(m_nTarget, GL_TEXTURE_WRAP_S, wrap);
    glTexParameteri(m_nTarget, GL_TEXTURE_WRAP_T, wrap);
}

int GLTexture::Bind() {
    glBindTexture(m_nTarget, m_nTexture);
    return CheckGLError("Bind", "glBindTexture");
}

int GLTexture::SetParameteri(unsigned pname, int param) {
    glTexParameteri(m_nTarget, pname, param);
    return CheckGLError("GLTexture::SetParameteri", "glTexParameteri");
}

void GLTexture::SetSampling(int wrap, int filter) {
    glActiveTexture(GL_TEXTURE0);
    Bind();
    SetParameteri(GL_TEXTURE_WRAP_S, wrap);
    SetParameteri(GL_TEXTURE_WRAP_T, wrap);
    SetParameteri(GL_TEXTURE_MIN_FILTER, filter);
    SetParameteri(GL_TEXTURE_MAG_FILTER, filter);
}

bool GLTexture::UpdateNormalTexture(const void* pixels, unsigned width, unsigned height) {
    constexpr const char* kName = "UpdateNormalTexture";
    LOG_INFO(gLog, "[%s] enter", kName);
    if (m_bStreaming) {
        LOG_ERROR(gLog, "[%s] ERROR, only normal texture use this method\n", kName);
        return false;
    }
    if (width != 0 && (width != m_nWidth || height != m_nHeight)) {
        LOG_ERROR(gLog, "[%s] ERROR, wrong input size %dx%d, tex size is %dx%d\n", kName,
                  static_cast<int>(width), static_cast<int>(height), static_cast<int>(m_nWidth),
                  static_cast<int>(m_nHeight));
        return false;
    }
    LOG_INFO(gLog, "[%s] glTexImage2D %dx%d, format 0x%04X, type 0x%04X\n", kName,
             static_cast<int>(width), static_cast<int>(height), m_nFormat, m_nType);
    if (!Bind()) {
        LOG_ERROR(gLog, "[%s] ERROR, can't bind texture\n", kName);
        return false;
    }
    glTexImage2D(m_nTarget, 0, static_cast<GLint>(m_nFormat), static_cast<GLsizei>(width),
                 static_cast<GLsizei>(height), 0, m_nFormat, m_nType, pixels);
    LOG_INFO(gLog, "[%s] leave", kName);
    return CheckGLError("GLTexture::UpdateNormalTexture", "glTexImage2D");
}

void* GLTexture::GetSTDataBuf() const {
    constexpr const char* kName = "GetSTDataBuf";
    LOG_INFO(gLog, "[%s] enter", kName);
    if (!m_bStreaming) {
        LOG_ERROR(gLog, "[%s] ERROR, only streaming texture use this method\n", kName);
        return nullptr;
    }
    if (m_pData == nullptr) {
        LOG_ERROR(gLog, "[%s] ERROR, null data buf\n", kName);
        return nullptr;
    }
    LOG_INFO(gLog, "[%s] addr %u\n", kName, AddressForLog(m_pData));
    LOG_INFO(gLog, "[%s] leave", kName);
    return m_pData;
}

int GLTexture::clean_buffer() {
    return CleanCache(gLog, m_spBuffer.get());
}
