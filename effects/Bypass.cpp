#include "effects/Bypass.h"

#include "engine/CommonLocations.h"
#include "engine/ShaderTexts.h"
#include "gl/GLTexture.h"

namespace {

LogTag gLog("GEShaderBypass");

constexpr char kVertex[] = PASS_THROUGH_VERTEX("v_texCoord");

constexpr char kFragment[] = R"glsl(
  // "yuvx" pixels to RGB.
  precision highp float;
  varying vec2 v_texCoord;
  uniform sampler2D s_texture0;
  uniform mat4 u_mat_yuv2rgb;

  void main() {
    gl_FragColor = u_mat_yuv2rgb * texture2D(s_texture0, v_texCoord);
  }
)glsl";

constexpr GLLocation kLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    kInputRow,
    kColorMatrixRow,
};
constexpr GLProgramTable kTable = {kVertex, kFragment, kLocations, std::size(kLocations), 1};

constexpr SinglePassTraits kTraits = {gLog, "bypass shader", "bypass shader", "f", "program"};

constexpr int kHintWidth = 960;
constexpr int kHintHeight = 544;

}  // namespace

GLProgBypass::GLProgBypass() : GLTableProgram(gLog, kTable) {}

GEShaderBypass::GEShaderBypass() : SinglePassEffect(kTraits) {}

GLProgram* GEShaderBypass::CreateProgram() const {
    return new GLProgBypass;
}

int GEShaderBypass::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                         unsigned int w, unsigned int h, unsigned char bCapture,
                         IYUVConverter* cb) {
    LogBanner("GEShaderBypass::Init");
    StoreInitArguments(src, out, x, y, w, h, bCapture, kHintWidth, kHintHeight);
    if (!InitBase(cb) || !InitProgram()) return 0;
    InitPartialTexCoord();
    return FinishInit();
}

int GEShaderBypass::SetParam(unsigned int, int, int, int, int) {
    if (m_bInit) return 1;
    LOG_ERROR(gLog, "[%s] effect not initialized", "SetParam");
    return 0;
}
