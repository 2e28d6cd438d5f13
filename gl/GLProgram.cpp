#include "gl/GLProgram.h"

#include "gl/GECommon.h"
#include "gl/GLTexture.h"
#include "gl/Log.h"
#include "gl/StandardQuad.h"

namespace {

LogTag gLog("GLProgram");

// (Y, V, U, 1) to (R, G, B, 1), full-range BT.601, in columns. The chroma offset of one half is
// folded into the last column: 0.701 = 1.402 / 2, 0.529 = (0.714 + 0.344) / 2, 0.886 = 1.772 / 2.
constexpr std::array<float, 16> kYUVToRGB = {
    1.0F,    1.0F,    1.0F,    0.0F,  //
    1.402F,  -0.714F, 0.0F,    0.0F,  //
    0.0F,    -0.344F, 1.772F,  0.0F,  //
    -0.701F, 0.529F,  -0.886F, 1.0F,
};

#ifndef NDEBUG
// Debug builds print what the driver has to say and the text it says it about.
void ReportCompileLog(GLuint shader, const char* source) {
    std::array<char, 2048> text{};
    glGetShaderInfoLog(shader, static_cast<GLsizei>(text.size()), nullptr, text.data());
    LOG_ERROR(gLog, "driver: %s", text.data());
    int line = 1;
    for (const char* at = source; *at != '\0'; ++line) {
        const char* end = at;
        while (*end != '\0' && *end != '\n') ++end;
        LOG_ERROR(gLog, "%3d: %.*s", line, static_cast<int>(end - at), at);
        at = *end == '\0' ? end : end + 1;
    }
}
#endif

}  // namespace

GLProgram::GLProgram() : m_matYUV2RGB(kYUVToRGB) {
    LOG_INFO(gLog, "[%s] enter", "GLProgram");
    m_nAttribLoc.fill(-1);
    m_nUniformLoc.fill(-1);
    m_nSamplerLoc.fill(-1);
    LOG_INFO(gLog, "[%s] leave", "GLProgram");
}

GLProgram::~GLProgram() {
    LOG_INFO(gLog, "[%s] enter", "~GLProgram");
    // A name that is no program would leave an error for whoever checks next.
    if (glIsProgram(m_nProgram)) glDeleteProgram(m_nProgram);
    LOG_INFO(gLog, "[%s] program %d deleted\n", "~GLProgram", static_cast<int>(m_nProgram));
    LOG_INFO(gLog, "[%s] leave", "~GLProgram");
}

unsigned GLProgram::CompileShader(unsigned type, const char* source) {
    LOG_INFO(gLog, "[%s] enter", "CompileShader");
    const GLuint shader = glCreateShader(type);
    if (shader == 0) {
        LOG_ERROR(gLog, "[%s] can't create shader obj\n", "CompileShader");
        return 0;
    }
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled == GL_FALSE) {
#ifndef NDEBUG
        ReportCompileLog(shader, source);
#endif
        glDeleteShader(shader);
        LOG_ERROR(gLog, "[%s] can't compile shader\n", "CompileShader");
        return 0;
    }
    LOG_INFO(gLog, "[%s] shader %d compiled\n", "CompileShader", static_cast<int>(shader));
    LOG_INFO(gLog, "[%s] leave", "CompileShader");
    return shader;
}

bool GLProgram::Load(const char* vertexSource, const char* fragmentSource) {
    LOG_INFO(gLog, "[%s] enter", "Load");
    const GLuint vertex = CompileShader(GL_VERTEX_SHADER, vertexSource);
    if (vertex == 0) {
        LOG_ERROR(gLog, "[%s] can't compile vertex shader\n", "Load");
        return false;
    }
    const GLuint fragment = CompileShader(GL_FRAGMENT_SHADER, fragmentSource);
    if (fragment == 0) {
        LOG_ERROR(gLog, "[%s] can't compile fragment shader\n", "Load");
        glDeleteShader(vertex);
        return false;
    }
    m_nProgram = glCreateProgram();
    if (m_nProgram == 0) {
        LOG_ERROR(gLog, "[%s] can't create program\n", "Load");
        return false;
    }
    glAttachShader(m_nProgram, vertex);
    glAttachShader(m_nProgram, fragment);
    glLinkProgram(m_nProgram);
    GLint linked = GL_FALSE;
    glGetProgramiv(m_nProgram, GL_LINK_STATUS, &linked);
    if (linked == GL_FALSE) {
        glDeleteProgram(m_nProgram);
        m_nProgram = 0;
        LOG_ERROR(gLog, "[%s] can't link program\n", "Load");
        return false;
    }
    // They live on as long as the program that they are attached to.
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    LOG_INFO(gLog, "[%s] program %d created\n", "Load", static_cast<int>(m_nProgram));
    LOG_INFO(gLog, "[%s] leave", "Load");
    return true;
}

bool GLProgram::Use() {
    if (!glIsProgram(m_nProgram)) {
        LOG_ERROR(gLog, "[%s] invalid program id %d", "Use", static_cast<int>(m_nProgram));
        return false;
    }
    glUseProgram(m_nProgram);
    return CheckGLError("Use", "gluseProgram");  // log readers look for this spelling
}

bool GLProgram::LocIsValid(const char* name, int location) {
    if (location < 0) {
        LOG_ERROR(gLog, "[%s] invalid %s == %d", "LocIsValid", name, location);
        return false;
    }
    return true;
}

bool GLProgram::SetTextures(unsigned index, GLTexture* texture) {
    if (index >= kMaxTextures) {
        LOG_ERROR(gLog, "[%s] nIdx %d must < %d", "SetTextures", static_cast<int>(index),
                  static_cast<int>(kMaxTextures));
        return false;
    }
    m_pTextures[index] = texture;
    return true;
}

void GLProgram::BindTextures(unsigned count) {
    for (unsigned unit = 0; unit < count; ++unit) {
        glActiveTexture(GL_TEXTURE0 + unit);
        glUniform1i(m_nSamplerLoc[unit], static_cast<GLint>(unit));
        if (m_pTextures[unit] != nullptr) m_pTextures[unit]->Bind();
    }
}

// Slots come from the program's own enumerations, so they are not checked.
#define LOCATION_OF(index) m_nUniformLoc[static_cast<unsigned>(index)]

bool GLProgram::Uniform1i(int index, int value) {
    glUniform1i(LOCATION_OF(index), value);
    return CheckGLError("Uniform1i", "Uniform1i");
}

bool GLProgram::Uniform1f(int index, float value) {
    glUniform1f(LOCATION_OF(index), value);
    return CheckGLError("Uniform1f", "Uniform1f");
}

bool GLProgram::Uniform2f(int index, float x, float y) {
    glUniform2f(LOCATION_OF(index), x, y);
    return CheckGLError("Uniform2f", "Uniform2f");
}

bool GLProgram::Uniform4f(int index, float x, float y, float z, float w) {
    glUniform4f(LOCATION_OF(index), x, y, z, w);
    return CheckGLError("Uniform4f", "Uniform4f");
}

bool GLProgram::Uniform1fv(int index, int count, const float* values) {
    glUniform1fv(LOCATION_OF(index), count, values);
    return CheckGLError("Uniform1fv", "Uniform1fv");
}

bool GLProgram::Uniform2fv(int index, int count, const float* values) {
    glUniform2fv(LOCATION_OF(index), count, values);
    return CheckGLError("Uniform2fv", "Uniform2fv");
}

#undef LOCATION_OF

bool GLProgram::VertexAttribPointer(int index, int size, const void* pointer) {
    const GLint location = m_nAttribLoc[static_cast<unsigned>(index)];
    glVertexAttribPointer(static_cast<GLuint>(location), size, GL_FLOAT, GL_FALSE, 0, pointer);
    if (!CheckGLError("VertexAttribPointer", "VertexAttribPointer")) return false;
    EnableArray(location);
    return CheckGLError("VertexAttribPointer", "glEnableVertexAttribArray");
}

bool GLProgram::SetVertexCoord(int size, const void* pointer) {
    glVertexAttribPointer(static_cast<GLuint>(m_nVerCoordLoc), size, GL_FLOAT, GL_FALSE, 0,
                          pointer);
    EnableArray(m_nVerCoordLoc);
    return true;
}

bool GLProgram::SetTextureCoord(int size, const void* pointer) {
    glVertexAttribPointer(static_cast<GLuint>(m_nTexCoordLoc), size, GL_FLOAT, GL_FALSE, 0,
                          pointer);
    EnableArray(m_nTexCoordLoc);
    return true;
}

void GLProgram::EnableArray(GLint location) {
    glEnableVertexAttribArray(static_cast<GLuint>(location));
    if (location >= 0 && location < 32) m_enabledArrays |= 1U << static_cast<unsigned>(location);
}

void GLProgram::DisableArrays() {
    for (GLuint location = 0; m_enabledArrays != 0; ++location, m_enabledArrays >>= 1U) {
        if (m_enabledArrays & 1U) glDisableVertexAttribArray(location);
    }
}

bool GLProgram::Draw() {
    return Draw(static_cast<int>(kQuadIndices.size()), kQuadIndices.data());
}

bool GLProgram::Draw(int count, const void* indices) {
    glDrawElements(GL_TRIANGLES, count, GL_UNSIGNED_SHORT, indices);
    DisableArrays();
    return true;
}
