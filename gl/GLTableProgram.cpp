#include "gl/GLTableProgram.h"

int GLTableProgram::Load() {
    LOG_INFO(m_log, "[%s] enter", "Load");
    if (!Load(m_table.vertexText, m_table.fragmentText)) {
        LOG_ERROR(m_log, "[%s] can't load shader", "Load");
        return 0;
    }
    LOG_INFO(m_log, "[%s] use program", "Load");
    // Not the subclass's Use: there are no textures to bind yet.
    if (!GLProgram::Use()) return 0;
    LOG_INFO(m_log, "[%s] get locations", "Load");
    for (std::size_t i = 0; i < m_table.locationCount; ++i) {
        const GLLocation& row = m_table.locations[i];
        if (!LocIsValid(row.label, LookUp(row))) return 0;
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
        if (row.logName == nullptr) continue;
        const bool isSampler = row.kind == GLLocation::kSampler;
        LOG_INFO(m_log, "[%s] %s %d", "Load", row.logName,
                 isSampler ? m_nSamplerLoc[row.slot] : m_nUniformLoc[row.slot]);
    }
    LOG_INFO(m_log, "[%s] leave", "Load");
    return 1;
}

// Stores the location where its kind keeps it.
GLint GLTableProgram::LookUp(const GLLocation& row) {
    const bool isAttribute = row.kind == GLLocation::kVertexCoord ||
                             row.kind == GLLocation::kTextureCoord ||
                             row.kind == GLLocation::kAttribute;
    const GLint location = isAttribute ? glGetAttribLocation(m_nProgram, row.glslName)
                                       : glGetUniformLocation(m_nProgram, row.glslName);
    switch (row.kind) {
        case GLLocation::kVertexCoord:
            m_nVerCoordLoc = location;
            break;
        case GLLocation::kTextureCoord:
            m_nTexCoordLoc = location;
            break;
        case GLLocation::kAttribute:
            m_nAttribLoc[row.slot] = location;
            break;
        case GLLocation::kUniform:
            m_nUniformLoc[row.slot] = location;
            break;
        case GLLocation::kSampler:
        case GLLocation::kColorMatrix:
            m_nSamplerLoc[row.slot] = location;
            break;
    }
    return location;
}

bool GLTableProgram::Use() {
    if (!GLProgram::Use()) return false;
    BindTextures(m_table.textureCount);
    return true;
}
