#include "effects/Bloom.h"

#include "engine/CommonLocations.h"
#include "engine/ShaderTexts.h"

namespace {

LogTag gLog("GEShaderBloom");

constexpr char kVertex[] = PASS_THROUGH_VERTEX("v_texCoord");

// The colour is a function of the pixel alone, so blocks need no place in the image.
constexpr char kLargeVertex[] = UNREAD_GLOBAL_VERTEX("v_texCoord");

constexpr char kFragment[] = R"glsl(
  // Colour times 3.5 times its own luma, alpha included.
  precision highp float;
  varying vec2 v_texCoord;
  uniform sampler2D s_texture0;
  uniform mat4 u_mat_yuv2rgb;

  const vec4 kIntensityOffset = vec4(0.0);
  const vec4 kIntensityScale = vec4(3.5);

  void main() {
    vec4 rgba = u_mat_yuv2rgb * texture2D(s_texture0, v_texCoord);
    float luma = dot(rgba.rgb, vec3(0.3, 0.59, 0.11));
    gl_FragColor = rgba * ((vec4(luma) + kIntensityOffset) * kIntensityScale);
  }
)glsl";

constexpr GLLocation kLargeLocations[] = {
    kVertexCoordRow, kTextureCoordRow, kGlobalCoordRow, kInputRow, kColorMatrixRow,
};
constexpr GLLocation kLocations[] = {kLargeLocations[0], kLargeLocations[1], kLargeLocations[3],
                                     kLargeLocations[4]};

constexpr GLProgramTable kTable = {kVertex, kFragment, kLocations, std::size(kLocations), 1};
constexpr GLProgramTable kLargeTable = {kLargeVertex, kFragment, kLargeLocations,
                                        std::size(kLargeLocations), 1};

constexpr SinglePassTraits kTraits = {gLog, "Bloom shader", nullptr, "f", "program"};

constexpr int kHintWidth = 960;
constexpr int kHintHeight = 544;

}  // namespace

GLProgBloom::GLProgBloom() : GLTableProgram(gLog, kTable) {}

GLProgBloomLarge::GLProgBloomLarge() : GLTableProgram(gLog, kLargeTable) {}

GEShaderBloom::GEShaderBloom() : SinglePassEffect(kTraits) {}

GLProgram* GEShaderBloom::CreateProgram() const {
    if (m_bCapture) return new GLProgBloomLarge;
    return new GLProgBloom;
}

int GEShaderBloom::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                        unsigned int w, unsigned int h, unsigned char bCapture, IYUVConverter* cb) {
    LogBanner("GEShaderBloom::Init");
    StoreInitArguments(src, out, x, y, w, h, bCapture, kHintWidth, kHintHeight);
    if (!InitBase(cb) || !InitProgram()) return 0;
    InitPartialTexCoord();
    return FinishInit();
}

int GEShaderBloom::SetParam(unsigned int, int, int, int, int) {
    if (m_bInit) return 1;
    LOG_ERROR(gLog, "[%s] effect not initialized", "SetParam");
    return 0;
}
