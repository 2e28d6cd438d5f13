// Shader texts and location rows of the last pass of the effects with a blur, in which the clear
// and the blurred picture meet.
#pragma once

#include "engine/CommonLocations.h"

#define SIZE_UP_VERTEX(declarations, statements)  \
    "attribute vec4 a_vertexCoord;\n"             \
    "attribute vec2 a_textureCoord;\n"            \
    "attribute vec2 a_blurTexCoord;\n"            \
    "varying vec2 v_textureCoord;\n"              \
    "varying vec2 v_blurTexCoord;\n" declarations \
    "void main() {\n"                             \
    "  gl_Position = a_vertexCoord;\n"            \
    "  v_textureCoord = a_textureCoord;\n"        \
    "  v_blurTexCoord = a_blurTexCoord;\n" statements "}\n"

inline constexpr char kSizeUpVertex[] = SIZE_UP_VERTEX("", "");
// Of capture blocks: the place in the whole image travels along.
inline constexpr char kSizeUpLargeVertex[] = SIZE_UP_VERTEX(
    "attribute vec2 a_globalTexCoord;\n"
    "varying vec2 v_globalTexCoord;\n",
    "  v_globalTexCoord = a_globalTexCoord;\n");

#define SIZE_UP_INPUTS                \
    "precision highp float;\n"        \
    "varying vec2 v_textureCoord;\n"  \
    "varying vec2 v_blurTexCoord;\n"  \
    "uniform sampler2D s_texBlur;\n"  \
    "uniform sampler2D s_texClear;\n" \
    "uniform mat4 u_mat_yuv2rgb;\n"

// Fades from the clear to the blurred picture with the distance from the focus.
#define SIZE_UP_BY_DISTANCE                                                               \
    "uniform vec2 u_distSquare;  // where the blur begins, where it is full\n"            \
    "uniform float u_fMixWeight;\n"                                                       \
    "void main() {\n"                                                                     \
    "  vec4 clear = texture2D(s_texClear, v_textureCoord);\n"                             \
    "  vec4 blurred = texture2D(s_texBlur, v_blurTexCoord);\n"                            \
    "  float weight = smoothstep(u_distSquare.x, u_distSquare.y, distanceFromFocus());\n" \
    "  gl_FragColor = u_mat_yuv2rgb * mix(clear, blurred, weight * u_fMixWeight);\n"      \
    "}\n"

// Texture units and attribute slots of every last pass.
enum SizeUpSampler : unsigned { kBlurSampler, kClearSampler };
enum SizeUpAttribute : unsigned { kBlurCoord, kGlobalCoord };

inline constexpr GLLocation kBlurCoordRow = {GLLocation::kAttribute, "a_blurTexCoord", kBlurCoord,
                                             "ATTRIB_BLUR_TEX_COORD"};
inline constexpr GLLocation kSizeUpGlobalCoordRow = {GLLocation::kAttribute, "a_globalTexCoord",
                                                     kGlobalCoord, "ATTRIB_GLOBAL_TEX_COORD",
                                                     "ATTRIB_GLOBAL_TEX_COORD"};
inline constexpr GLLocation kBlurSamplerRow = {GLLocation::kSampler, "s_texBlur", kBlurSampler,
                                               "m_nSamplerLoc[SAMPLER_BLUR_TEX]",
                                               "SAMPLER_BLUR_TEX"};
inline constexpr GLLocation kClearSamplerRow = {GLLocation::kSampler, "s_texClear", kClearSampler,
                                                "m_nSamplerLoc[SAMPLER_CLEAR_TEX]",
                                                "SAMPLER_CLEAR_TEX"};
inline constexpr GLLocation kSizeUpMatrixRow = {
    GLLocation::kColorMatrix, "u_mat_yuv2rgb", kColorMatrixSlot,
    "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]", "SAMPLER_MAT_YUV2RGB"};

// Rows of the last passes that fade by the distance from the focus. The first uniforms' slots are
// left to the samplers.
enum FocusUniform : unsigned { kFocusCenter = 2, kFocusDistance, kFocusShape, kFocusMixWeight };

inline constexpr GLLocation kFocusCenterRow = {GLLocation::kUniform, "u_center", kFocusCenter,
                                               "m_nUniformLoc[UNIFORM_CENTER]", "UNIFORM_CENTER"};
inline constexpr GLLocation kFocusDistanceRow = {
    GLLocation::kUniform, "u_distSquare", kFocusDistance, "m_nUniformLoc[UNIFORM_DIST_SQUARE]",
    "UNIFORM_DIST_SQUARE"};
inline constexpr GLLocation kFocusMixWeightRow = {
    GLLocation::kUniform, "u_fMixWeight", kFocusMixWeight, "m_nUniformLoc[UNIFORM_MIX_WEIGHT]",
    "UNIFORM_MIX_WEIGHT"};
