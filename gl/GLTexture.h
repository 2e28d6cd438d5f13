// The owning wrapper of one GL texture.
//
// A normal texture has GL's own storage. A streaming texture (ST) has a graphics buffer for storage
// that the CPU reads and writes in place: its own, or one that somebody else owns.
//
// The owner makes one with new, calls one of the Inits, and deletes it. Thread: the worker, with
// the manager's context current.
#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <posteffect/Export.h>
#include <ui/GraphicBuffer.h>
#include <utils/RefBase.h>

#include <cstdint>

struct ANativeWindowBuffer;

class POSTEFFECT_API GLTexture {
  public:
    // Marks a YUV buffer. Such a texture can be made by wrapping only, and has no valid GL target.
    static constexpr unsigned kFormatYUV = 0x190B;

    GLTexture() = default;
    virtual ~GLTexture();
    GLTexture(const GLTexture&) = delete;
    GLTexture& operator=(const GLTexture&) = delete;

    // A normal texture (ST 0) of any format that glTexImage2D takes, or a streaming texture (ST 1)
    // over a graphics buffer of its own (RGB 565, RGB 888 or RGBA 8888). Filters are linear, wrap
    // modes repeat. False on failure; delete the texture then.
    bool Init(unsigned format, unsigned type, unsigned width, unsigned height, unsigned char ST);

    // Before Init of a streaming texture that only the CPU will use: GL gets no storage for it.
    void LeaveToCPU() { m_bLeftToCPU = true; }

    // A streaming texture over `buffer`, which stays the caller's. False for a buffer of fewer
    // pixels.
    bool Init(ANativeWindowBuffer* buffer, unsigned format, unsigned type, unsigned width,
              unsigned height);

    int Bind();

    // glTexParameteri on what is bound: bind first.
    int SetParameteri(unsigned pname, int param);

    // Binds the texture to the first unit and sets its wrap modes and its filters, each kind alike.
    void SetSampling(int wrap, int filter);

    // Uploads a whole image of tightly packed rows into a normal texture.
    bool UpdateNormalTexture(const void* pixels, unsigned width, unsigned height);

    // The pixels of a streaming texture, rows of GetStride() pixels; null for a normal one.
    void* GetSTDataBuf() const;

    // The graphics buffer's row length in pixels; 0 for a normal texture.
    unsigned GetStride() const { return m_nNativeStride; }

    // Makes what the GPU drew visible to the CPU, for a streaming texture with its own buffer.
    // 1, or 0 on failure.
    int clean_buffer();

    // Makes the texture (ST 0 normal, 1 streaming) from an uncompressed BMP file of 8, 16, 24 or 32
    // bits. The file's bytes become the texture's: what a 24-bit file stores as blue lands in red,
    // and the picture's bottom row in row 0. Wrap modes repeat, filters are linear.
    bool LoadBMP(const char* path, unsigned format, unsigned type, unsigned char ST);

    // Dumps a streaming RGB or RGBA texture to "/data/" followed by `name`, under the header of the
    // BMP file `templatePath`. An RGBA texture's red and blue change places in memory, and its
    // alpha becomes 255.
    bool SaveBMP(const char* templatePath, const char* name);

    // Dumps the fourth byte of every four-byte pixel of a streaming texture as an 8-bit image.
    bool SaveBMP_yuvx(const char* templatePath, const char* name);

    bool isStreaming() const { return m_bStreaming; }
    GLuint name() const { return m_nTexture; }
    GLenum target() const { return m_nTarget; }

  private:
    static constexpr unsigned kUnset = ~0U;

    bool InitNormal(unsigned format, unsigned type, unsigned width, unsigned height);
    bool InitStreaming(unsigned format, unsigned type, unsigned width, unsigned height);
    void SetParameters(GLint filter, GLint wrap) const;
    void DestroyImage();
    void ReleaseTexture();
    void* DumpablePixels(const char* operation) const;

    bool m_bStreaming = false;
    bool m_bLeftToCPU = false;
    GLuint m_nTexture = kUnset;

  public:
    unsigned m_nWidth = kUnset;   // pixels, as requested
    unsigned m_nStride = kUnset;  // pixels: the width, rounded up to 32 for a streaming texture
    unsigned m_nHeight = kUnset;  // pixels
    unsigned m_nBpp = 0;          // bytes a pixel
    unsigned m_nFormat = kUnset;
    unsigned m_nType = kUnset;

  private:
    void* m_pData = nullptr;
    android::sp<android::RefBase> m_spReserved0;
    android::sp<android::RefBase> m_spReserved1;
    android::sp<android::GraphicBuffer> m_spBuffer;
    EGLImageKHR m_image = nullptr;
    GLenum m_nTarget = GL_TEXTURE_2D;
    unsigned m_nNativeStride = 0;  // pixels, as the graphics buffer reports it
};
