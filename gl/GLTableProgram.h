// A program that is described by a table: its two texts, its locations in the order of their
// look-up, its textures. Nearly every program is one, with a table and a name of its own.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "gl/CarriedUniforms.h"
#include "gl/ConstantUniforms.h"
#include "gl/GLProgram.h"
#include "gl/Log.h"

// One name that the program looks up.
struct GLLocation {
    enum Kind {
        kVertexCoord,   // a_vertexCoord
        kTextureCoord,  // a_textureCoord
        kAttribute,     // m_nAttribLoc[slot]
        kUniform,       // m_nUniformLoc[slot]
        kSampler,       // m_nSamplerLoc[slot], texture unit `slot`
        kColorMatrix,   // a uniform kept in m_nSamplerLoc[slot]; receives the colour matrix
    };

    Kind kind = kVertexCoord;
    const char* glslName = nullptr;
    unsigned slot = 0;
    const char* label = nullptr;    // the member's name, for the validity check
    const char* logName = nullptr;  // "[%s] <logName> %d" after all look-ups; null: no line
};

// The sampler slot that holds the colour matrix's location; it is no texture unit.
inline constexpr unsigned kColorMatrixSlot = 7;

struct GLProgramTable {
    const char* vertexText;
    const char* fragmentText;
    const GLLocation* locations;
    std::size_t locationCount;
    unsigned textureCount;  // units 0 .. textureCount-1
};

class POSTEFFECT_API GLTableProgram : public GLProgram {
  public:
    // Both must outlive the program.
    GLTableProgram(LogTag& log, const GLProgramTable& table) : m_log(log), m_table(table) {}
    ~GLTableProgram() override;

    using GLProgram::Load;
    int Load() override;
    // Binds the table's textures.
    bool Use() override;

  protected:
    // Before the texts are compiled.
    virtual void BeginLoad() {}
    // Uniforms of the fragment text whose values stay as they are when the program is loaded. The
    // values live as long as the program. These: the colour matrix, where the table has it.
    virtual std::vector<ConstantUniform> Constants() const;

    LogTag& m_log;

  private:
    // Links the program, or takes over the one that an earlier user of the texts left behind.
    bool LoadOrBorrow(const ShaderTexts& texts);
    // Where a row's location is kept.
    GLint& Kept(const GLLocation& row);
    GLint LookUp(const GLLocation& row);

    const GLProgramTable& m_table;
};
