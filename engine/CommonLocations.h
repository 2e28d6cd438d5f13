// Rows that the location tables of many programs share.
#pragma once

#include "gl/GLTableProgram.h"

inline constexpr GLLocation kVertexCoordRow = {GLLocation::kVertexCoord, "a_vertexCoord", 0,
                                               "m_nVerCoordLoc"};
inline constexpr GLLocation kTextureCoordRow = {GLLocation::kTextureCoord, "a_textureCoord", 0,
                                                "m_nTexCoordLoc"};
// The place in the whole image, in capture programs.
inline constexpr GLLocation kGlobalCoordRow = {GLLocation::kAttribute, "a_globalTexCoord", 0,
                                               "ATTRIB_GLOBAL_TEX_COORD"};
inline constexpr GLLocation kInputRow = {GLLocation::kSampler, "s_texture0", 0,
                                         "m_nSamplerLoc[SAMPLER_INPUT_TEX]", "SAMPLER_INPUT_TEX"};
inline constexpr GLLocation kColorMatrixRow = {GLLocation::kColorMatrix, "u_mat_yuv2rgb",
                                               kColorMatrixSlot,
                                               "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]"};

constexpr GLLocation CropRow(unsigned slot) {
    return {GLLocation::kUniform, "u_crop", slot, "m_nUniformLoc[UNIFORM_CROP]"};
}

constexpr GLLocation WidthCompensateRow(unsigned slot) {
    return {GLLocation::kUniform, "u_widthcomp", slot, "m_nUniformLoc[UNIFORM_WIDTH_COMPENSATE]"};
}
