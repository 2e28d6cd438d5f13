// The base of every shader program: one linked GL program, its locations in fixed tables, the
// textures it samples, and the draw of the standard quad.
//
// One pass: bind the framebuffer, set the viewport, Use, SetVertexCoord, the pass's uniforms,
// SetTextureCoord (and VertexAttribPointer for further coordinates), Draw. A pass sets all it needs
// and relies on nothing left over from another.
//
// Uniform setters take the slot in m_nUniformLoc and do not check it. Thread: the worker.
#pragma once

#include <GLES2/gl2.h>
#include <posteffect/Export.h>

#include <array>
#include <cstdint>

class GLTexture;

class POSTEFFECT_API GLProgram {
  public:
    static constexpr unsigned kMaxAttributes = 8;
    static constexpr unsigned kMaxUniforms = 16;
    static constexpr unsigned kMaxTextures = 8;

    GLProgram();
    virtual ~GLProgram();
    GLProgram(const GLProgram&) = delete;
    GLProgram& operator=(const GLProgram&) = delete;

    // Builds the program from the subclass's own texts and looks up its locations. 0 on failure.
    virtual int Load() = 0;
    // Makes the program current; subclasses bind their textures and set constant uniforms.
    virtual bool Use();
    // Positions and texture coordinates of the quad, `size` floats a corner. The array must live
    // until Draw.
    virtual bool SetVertexCoord(int size, const void* pointer);
    virtual bool SetTextureCoord(int size, const void* pointer);
    // Draws the standard quad, or `count` indices; then switches off the vertex arrays that this
    // pass switched on, so that none is left pointing at memory that may go.
    virtual bool Draw();
    virtual bool Draw(int count, const void* indices);

    // The shader's name, or 0.
    unsigned CompileShader(unsigned type, const char* source);
    bool Load(const char* vertexSource, const char* fragmentSource);

    // False, with one error line naming the member, for a location below 0.
    bool LocIsValid(const char* name, int location);

    // Texture k is bound to unit k. The texture stays the caller's.
    bool SetTextures(unsigned index, GLTexture* texture);

    bool Uniform1i(int index, int value);
    bool Uniform1f(int index, float value);
    bool Uniform2f(int index, float x, float y);
    bool Uniform4f(int index, float x, float y, float z, float w);
    bool Uniform1fv(int index, int count, const float* values);
    bool Uniform2fv(int index, int count, const float* values);
    bool VertexAttribPointer(int index, int size, const void* pointer);

    // The linked program as a file: the driver's format, then its binary. A file made by another
    // driver fails to load. Locations are not looked up again.
    bool SaveBinary(const char* path);
    bool LoadBinary(const char* path);

    GLuint name() const { return m_nProgram; }

  protected:
    // Binds textures 0 .. count-1 to their units and tells the samplers, in ascending order; empty
    // slots are passed over.
    void BindTextures(unsigned count);

    GLuint m_nProgram = ~0U;
    std::array<GLint, kMaxAttributes> m_nAttribLoc{};
    std::array<GLint, kMaxUniforms> m_nUniformLoc{};
    std::array<GLint, kMaxTextures> m_nSamplerLoc{};
    GLint m_nVerCoordLoc = -1;
    GLint m_nTexCoordLoc = -1;
    std::array<GLTexture*, kMaxTextures> m_pTextures{};
    std::array<float, 16> m_matYUV2RGB;

  private:
    void EnableArray(GLint location);
    void DisableArrays();

    uint32_t m_enabledArrays = 0;  // one bit for each location
};
