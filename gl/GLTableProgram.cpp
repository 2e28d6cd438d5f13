#include "gl/GLTableProgram.h"

#include <algorithm>
#include <cstring>

#include "gl/CarriedUniforms.h"
#include "gl/KeptPrograms.h"
#include "gl/RendererKind.h"

namespace {

bool IsAmong(const std::vector<ConstantUniform>& constants, const char* name) {
    return std::any_of(constants.begin(), constants.end(), [name](const ConstantUniform& row) {
        return std::strcmp(row.name, name) == 0;
    });
}

unsigned MostVaryings() {
    GLint vectors = 0;
    glGetIntegerv(GL_MAX_VARYING_VECTORS, &vectors);
    return static_cast<unsigned>(vectors);
}

}  // namespace

std::vector<ConstantUniform> GLTableProgram::Constants() const {
    std::vector<ConstantUniform> constants;
    for (std::size_t i = 0; i < m_table.locationCount; ++i) {
        const GLLocation& row = m_table.locations[i];
        if (row.kind != GLLocation::kColorMatrix) continue;
        constants.push_back({"mat4", row.glslName, m_matYUV2RGB.data(), 16, 0});
    }
    return constants;
}

GLTableProgram::~GLTableProgram() {
    if (ReturnProgram(m_nProgram)) m_nProgram = 0;
}

bool GLTableProgram::LoadOrBorrow(const ShaderTexts& texts) {
    const GLuint kept = BorrowProgram(texts.vertex, texts.fragment);
    if (kept != 0) {
        m_nProgram = kept;
        LOG_INFO(m_log, "[%s] program %d kept from before", "Load", static_cast<int>(kept));
        return true;
    }
    if (!Load(texts.vertex.c_str(), texts.fragment.c_str())) return false;
    KeepProgram(texts.vertex, texts.fragment, m_nProgram);
    return true;
}

int GLTableProgram::Load() {
    LOG_INFO(m_log, "[%s] enter", "Load");
    BeginLoad();
    std::vector<ConstantUniform> constants;
    ShaderTexts texts{m_table.vertexText, m_table.fragmentText};
    const bool software = DrawsForSoftware();
    if (software) {
        constants = Constants();
        texts.fragment = "#define FOR_SOFTWARE\n";
        texts.fragment += WithConstants(m_table.fragmentText, constants);
        texts = WithCarriedUniforms(texts, MostVaryings());
    }
    if (!LoadOrBorrow(texts)) {
        LOG_ERROR(m_log, "[%s] can't load shader", "Load");
        return 0;
    }
    LOG_INFO(m_log, "[%s] use program", "Load");
    // Not the subclass's Use: there are no textures to bind yet.
    if (!GLProgram::Use()) return 0;
    LOG_INFO(m_log, "[%s] get locations", "Load");
    for (std::size_t i = 0; i < m_table.locationCount; ++i) {
        const GLLocation& row = m_table.locations[i];
        const GLint location = LookUp(row);
        // Constants have no location, nor has what a text for software renderers does without;
        // setting them does nothing.
        const bool mayLack =
            IsAmong(constants, row.glslName) || (software && row.kind == GLLocation::kUniform);
        if (!mayLack && !LocIsValid(row.label, location)) return 0;
    }
    for (std::size_t i = 0; i < m_table.locationCount; ++i) {
        if (m_table.locations[i].kind == GLLocation::kColorMatrix) {
            glUniformMatrix4fv(m_nSamplerLoc[m_table.locations[i].slot], 1, GL_FALSE,
                               m_matYUV2RGB.data());
        }
    }
    LOG_INFO(m_log, "[%s] program id %d", "Load", static_cast<int>(m_nProgram));
    for (std::size_t i = 0; i < m_table.locationCount; ++i) {
        const GLLocation& row = m_table.locations[i];
        if (row.logName != nullptr) LOG_INFO(m_log, "[%s] %s %d", "Load", row.logName, Kept(row));
    }
    LOG_INFO(m_log, "[%s] leave", "Load");
    return 1;
}

GLint& GLTableProgram::Kept(const GLLocation& row) {
    switch (row.kind) {
        case GLLocation::kVertexCoord:
            return m_nVerCoordLoc;
        case GLLocation::kTextureCoord:
            return m_nTexCoordLoc;
        case GLLocation::kAttribute:
            return m_nAttribLoc[row.slot];
        case GLLocation::kUniform:
            return m_nUniformLoc[row.slot];
        case GLLocation::kSampler:
        case GLLocation::kColorMatrix:
            break;
    }
    return m_nSamplerLoc[row.slot];
}

GLint GLTableProgram::LookUp(const GLLocation& row) {
    const bool isAttribute = row.kind == GLLocation::kVertexCoord ||
                             row.kind == GLLocation::kTextureCoord ||
                             row.kind == GLLocation::kAttribute;
    return Kept(row) = isAttribute ? glGetAttribLocation(m_nProgram, row.glslName)
                                   : glGetUniformLocation(m_nProgram, row.glslName);
}

bool GLTableProgram::Use() {
    if (!GLProgram::Use()) return false;
    BindTextures(m_table.textureCount);
    return true;
}
