// The owning wrapper of one framebuffer with a single colour attachment.
//
// The owner makes one with new, calls Init, and deletes it; the destructor detaches, so texture and
// framebuffer may be deleted in either order. Thread: the worker.
#pragma once

#include <GLES2/gl2.h>
#include <posteffect/Export.h>

class GLTexture;

class POSTEFFECT_API GLFbo {
  public:
    GLFbo() = default;
    // Leaves the default framebuffer bound.
    virtual ~GLFbo();
    GLFbo(const GLFbo&) = delete;
    GLFbo& operator=(const GLFbo&) = delete;

    int Init();
    int Bind();
    int Unbind();

    // Attaches a GL texture by name, which stays bound to the active unit. On success the
    // framebuffer that was bound before is bound again; when the result is not complete, false, and
    // this framebuffer stays bound.
    bool SetColorAttachment(unsigned target, unsigned texture);

    // Attaches `texture`, which stays the caller's. False for null only: an incomplete framebuffer
    // is logged and otherwise passed over.
    bool SetColorAttachment(GLTexture* texture);

    // Detaches; leaves this framebuffer bound.
    int ResetColorAttachment();

    // Dumps the attached texture to "/data/" followed by `name`, under the header of the BMP file
    // `templatePath`. Bind the framebuffer first.
    bool SaveBMP(const char* templatePath, const char* name);

    GLuint name() const { return m_nFbo; }
    GLTexture* attachedTexture() const { return m_pTexture; }

  private:
    GLuint m_nFbo = 0;
    GLTexture* m_pTexture = nullptr;
};
