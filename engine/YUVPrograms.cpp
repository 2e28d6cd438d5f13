#include "engine/YUVPrograms.h"

#include "engine/CommonLocations.h"
#include "engine/ShaderLog.h"
#include "engine/ShaderTexts.h"

namespace {

constexpr char kLumaFragment[] = R"glsl(
  // Luma of four neighbouring pixels.
  precision highp float;
  varying vec2 v_textureCoord;
  uniform sampler2D s_texture0;
  uniform vec2 u_shift[4];   // texture units
  uniform vec4 u_vec_rgb2y;

  void main() {
    gl_FragColor = vec4(
        dot(u_vec_rgb2y, texture2D(s_texture0, v_textureCoord + u_shift[0])),
        dot(u_vec_rgb2y, texture2D(s_texture0, v_textureCoord + u_shift[1])),
        dot(u_vec_rgb2y, texture2D(s_texture0, v_textureCoord + u_shift[2])),
        dot(u_vec_rgb2y, texture2D(s_texture0, v_textureCoord + u_shift[3])));
  }
)glsl";

constexpr char kChromaFragment[] = R"glsl(
  // V and U of two neighbouring squares of 2 x 2 pixels, averaged by the linear filter.
  precision highp float;
  varying vec2 v_textureCoord;
  uniform sampler2D s_texture0;
  uniform vec2 u_shift[2];   // texture units

  // The fourth weight times an alpha of one is the chroma offset of one half.
  const vec4 kToU = vec4(-0.168727, -0.33126147, 0.5, 0.5);
  const vec4 kToV = vec4(0.5, -0.4186829, -0.0813089, 0.5);

  void main() {
    vec4 c1 = texture2D(s_texture0, v_textureCoord + u_shift[0]);
    vec4 c2 = texture2D(s_texture0, v_textureCoord + u_shift[1]);
    c1.a = 1.0;
    c2.a = 1.0;
    gl_FragColor = vec4(dot(kToV, c1), dot(kToU, c1), dot(kToV, c2), dot(kToU, c2));
  }
)glsl";

enum Uniform : unsigned { kShift, kVecRGBToY };

constexpr GLLocation kLumaLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    kInputRow,
    {GLLocation::kUniform, "u_shift", kShift, "m_nUniformLoc[UNIFORM_SHIFT]"},
    {GLLocation::kUniform, "u_vec_rgb2y", kVecRGBToY, "m_nUniformLoc[UNIFORM_VEC_RGBTOY]"},
};
constexpr std::size_t kLumaLocationCount = std::size(kLumaLocations);

constexpr GLProgramTable kLumaTable = {PASS_THROUGH_VERTEX("v_textureCoord"), kLumaFragment,
                                       kLumaLocations, kLumaLocationCount, 1};
// The chroma program has all but the luma weights.
constexpr GLProgramTable kChromaTable = {PASS_THROUGH_VERTEX("v_textureCoord"), kChromaFragment,
                                         kLumaLocations, kLumaLocationCount - 1, 1};

}  // namespace

GLProgRGBtoY::GLProgRGBtoY() : GLTableProgram(gShaderLog, kLumaTable) {}

GLProgRGBtoY::~GLProgRGBtoY() {
    LOG_INFO(m_log, "[%s] enter", "~GLProgRGBtoY");
    LOG_INFO(m_log, "[%s] leave", "~GLProgRGBtoY");
}

std::vector<ConstantUniform> GLProgRGBtoY::Constants() const {
    // Not the weights: as constants they are no faster, and sums come out in another order.
    return {{"vec2", "u_shift", m_shift.data(), 2, 4}};
}

bool GLProgRGBtoY::Use() {
    if (!GLTableProgram::Use()) return false;
    // Full-range BT.601 luma; alpha does not count.
    constexpr float kWeights[4] = {0.299F, 0.587F, 0.114F, 0.0F};
    glUniform2fv(m_nUniformLoc[kShift], 4, m_shift.data());
    glUniform4fv(m_nUniformLoc[kVecRGBToY], 1, kWeights);
    return true;
}

GLProgRGBtoUV::GLProgRGBtoUV() : GLTableProgram(gShaderLog, kChromaTable) {}

GLProgRGBtoUV::~GLProgRGBtoUV() {
    LOG_INFO(m_log, "[%s] enter", "~GLProgRGBtoUV");
    LOG_INFO(m_log, "[%s] leave", "~GLProgRGBtoUV");
}

std::vector<ConstantUniform> GLProgRGBtoUV::Constants() const {
    return {{"vec2", "u_shift", m_shift.data(), 2, 2}};
}

bool GLProgRGBtoUV::Use() {
    if (!GLTableProgram::Use()) return false;
    glUniform2fv(m_nUniformLoc[kShift], 2, m_shift.data());
    return true;
}
