#include "gl/GLFbo.h"

#include "gl/GECommon.h"
#include "gl/GLTexture.h"
#include "gl/Log.h"
#include "platform/Extensions.h"

namespace {
LogTag gLog("GLFbo");
}

GLFbo::~GLFbo() {
    LOG_INFO(gLog, "[%s] enter", "~GLFbo");
    if (glIsFramebuffer(m_nFbo)) {
        Bind();
        ResetColorAttachment();
        Unbind();
        glDeleteFramebuffers(1, &m_nFbo);
    }
    LOG_INFO(gLog, "[%s] leave", "~GLFbo");
}

int GLFbo::Init() {
    glGenFramebuffers(1, &m_nFbo);
    LOG_INFO(gLog, "[%s] fbo %d created", "Init", static_cast<int>(m_nFbo));
    return CheckGLError("GLFbo::Init", "glGenFramebuffers");
}

int GLFbo::Bind() {
    glBindFramebuffer(GL_FRAMEBUFFER, m_nFbo);
    return CheckGLError("GLFbo::Bind", "glBindFramebuffer");
}

int GLFbo::Unbind() {
    LOG_INFO(gLog, "[%s] enter", "Unbind");
    LOG_INFO(gLog, "[%s] Unbind fbo %d", "Unbind", static_cast<int>(m_nFbo));
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    LOG_INFO(gLog, "[%s] leave", "Unbind");
    return CheckGLError("GLFbo::Unbind", "glBindFramebuffer");
}

bool GLFbo::SetColorAttachment(unsigned target, unsigned texture) {
    GLint previous = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
    const bool otherWasBound = static_cast<GLuint>(previous) != m_nFbo;
    if (otherWasBound) Bind();
    glBindTexture(target, texture);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, target, texture, 0);
    platform::NoteColorAttachment(texture);
    const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    if (status != GL_FRAMEBUFFER_COMPLETE) {
        LOG_ERROR(gLog, "[GLFbo::SetColorAttachment] ERROR, FBO not complete, status %u\n", status);
        return false;
    }
    if (otherWasBound) glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
    return true;
}

bool GLFbo::SetColorAttachment(GLTexture* texture) {
    if (texture == nullptr) {
        LOG_ERROR(gLog, "[GLFbo::SetColorAttachment] invalid pTexture");
        return false;
    }
    m_pTexture = texture;
    SetColorAttachment(texture->target(), texture->name());
    return true;
}

int GLFbo::ResetColorAttachment() {
    constexpr const char* kName = "ResetColorAttachment";
    LOG_INFO(gLog, "[%s] enter", kName);
    Bind();
    LOG_INFO(gLog, "[%s] attaching tex 0 to fbo %d", kName, static_cast<int>(m_nFbo));
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
    m_pTexture = nullptr;
    LOG_INFO(gLog, "[%s] leave", kName);
    return CheckGLError("GLFbo::ResetColorAttachment", "glFramebufferTexture2D");
}
