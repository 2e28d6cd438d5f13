#include "effects/Vignette.h"

#include <cmath>
#include <cstdint>

#include "engine/CommonLocations.h"
#include "engine/DisplaySize.h"
#include "engine/ShaderTexts.h"
#include "gl/GLTexture.h"

namespace {

LogTag gLog("GEShaderVignette");

constexpr char kVertex[] = R"glsl(
  attribute vec4 a_vertexCoord;
  attribute vec2 a_textureCoord;
  attribute vec2 a_maskCoord;
  varying vec2 v_texCoord;

  void main() {
    gl_Position = a_vertexCoord;
    v_texCoord = a_textureCoord;
  }
)glsl";

constexpr char kLargeVertex[] = "attribute vec2 a_maskCoord;\n" LARGE_VERTEX("v_texCoord");

// How dark a place of the picture is: 0 full light, 1 black. The circle stays round in pixels.
#define VIGNETTE_WEIGHT                                                \
    "uniform vec2 u_center;         // from the middle, fractions\n"   \
    "uniform vec2 u_fRadius;        // inner, outer; picture widths\n" \
    "uniform float u_fScreenRatio;  // width over height\n"            \
    "float weightAt(vec2 place) {\n"                                   \
    "  vec2 shift = place - u_center - 0.5;\n"                         \
    "  shift.y /= u_fScreenRatio;\n"                                   \
    "  return smoothstep(u_fRadius.x, u_fRadius.y, length(shift));\n"  \
    "}\n"

constexpr char kFragment[] = "precision highp float;\n" CROP_PICK VIGNETTE_WEIGHT
                             R"glsl(
  // Darkens the shown part of the frame, alpha included.
  varying vec2 v_texCoord;
  uniform sampler2D s_texture0;
  uniform mat4 u_mat_yuv2rgb;
  uniform float u_fStrength;

  void main() {
    vec4 p = u_mat_yuv2rgb * texture2D(s_texture0, pick(v_texCoord));
    gl_FragColor = p * (1.0 - weightAt(v_texCoord));
  }
)glsl";

constexpr char kLargeFragment[] = "precision highp float;\n" VIGNETTE_WEIGHT
                                  R"glsl(
  // Darkens one block by its place in the image; alpha stays.
  varying vec2 v_texCoord;
  varying vec2 v_globalTexCoord;
  uniform sampler2D s_texture0;
  uniform mat4 u_mat_yuv2rgb;

  void main() {
    vec4 p = u_mat_yuv2rgb * texture2D(s_texture0, v_texCoord);
    float light = 1.0 - weightAt(v_globalTexCoord);
    gl_FragColor = p * vec4(light, light, light, 1.0);
  }
)glsl";

enum Uniform : unsigned {
    kCenter,
    kRadius,
    kStrength,  // declared in the preview text, never set
    kScreenRatio,
    kCrop,
    kWidthCompensate,
};

constexpr GLLocation kCenterRow = {GLLocation::kUniform, "u_center", kCenter,
                                   "m_pnUniLoc[UNIFORM_CENTER]", "UNIFORM_CENTER"};
constexpr GLLocation kRadiusRow = {GLLocation::kUniform, "u_fRadius", kRadius,
                                   "m_pnUniLoc[UNIFORM_RADIUS]", "UNIFORM_RADIUS"};
constexpr GLLocation kScreenRatioRow = {GLLocation::kUniform, "u_fScreenRatio", kScreenRatio,
                                        "m_pnUniLoc[UNIFORM_SCREENRATIO]", "UNIFORM_SCREENRATIO"};

constexpr GLLocation kLocations[] = {
    kVertexCoordRow, kTextureCoordRow, kInputRow,
    kColorMatrixRow, kCenterRow,       kRadiusRow,
    kScreenRatioRow, CropRow(kCrop),   WidthCompensateRow(kWidthCompensate),
};
constexpr GLProgramTable kTable = {kVertex, kFragment, kLocations, std::size(kLocations), 1};

constexpr GLLocation kLargeLocations[] = {
    kVertexCoordRow, kTextureCoordRow, kInputRow,       kColorMatrixRow,
    kCenterRow,      kRadiusRow,       kScreenRatioRow, kGlobalCoordRow,
};
constexpr GLProgramTable kLargeTable = {kLargeVertex, kLargeFragment, kLargeLocations,
                                        std::size(kLargeLocations), 1};

constexpr SinglePassTraits kTraits = {gLog, "vignette shader", "vignette large shader", nullptr,
                                      "program"};

// Half width of the edge, in picture widths: 0.40 at hardness 0, 0.03 at 100.
float SoftnessFor(int hardness) {
    return (100.0F - static_cast<float>(hardness)) * 0.37F / 100.0F + 0.03F;
}

// Integer difference of two coordinates that may lie anywhere.
float Difference(int to, int from) {
    return static_cast<float>(static_cast<int64_t>(to) - static_cast<int64_t>(from));
}

}  // namespace

GLProgVignette::GLProgVignette() : GLTableProgram(gLog, kTable) {}

GLProgVignetteLarge::GLProgVignetteLarge() : GLTableProgram(gLog, kLargeTable) {}

GEShaderVignette::GEShaderVignette() : SinglePassEffect(kTraits) {}

GLProgram* GEShaderVignette::CreateProgram() const {
    if (m_bCapture) return new GLProgVignetteLarge;
    return new GLProgVignette;
}

int GEShaderVignette::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                           unsigned int w, unsigned int h, unsigned char bCapture,
                           IYUVConverter* cb) {
    LOG_INFO(gLog, "[%s] enter", "Init");
    StoreInitArguments(src, out, x, y, w, h, bCapture, g_Disp_Width, g_Disp_Height);
    if (!InitBase(cb) || !InitProgram()) return 0;
    m_fCenterX = m_fCenterY = 0.5F;  // off the middle until the first parameters arrive
    m_fRadius = 0.3F;
    m_fSoftness = 0.5F;
    m_fScreenRatio = static_cast<float>(src->m_nWidth) / static_cast<float>(src->m_nHeight);
    m_fWidthComp = static_cast<float>(w) / static_cast<float>(src->m_nStride);
    LOG_INFO(gLog, "[%s] screen ratio = %u/%u = %f", "Init", src->m_nWidth, src->m_nHeight,
             static_cast<double>(m_fScreenRatio));
    LOG_INFO(gLog, "[%s] partial texcoord", "Init");
    return FinishInit();
}

int GEShaderVignette::SetParam(unsigned int index, int a, int b, int c, int d) {
    if (!m_bInit) {
        LOG_ERROR(gLog, "[%s] effect not initialized", "SetParam");
        return 0;
    }
    if (index == 0) {
        m_fSoftness = SoftnessFor(a);
        return 1;
    }
    const auto width = static_cast<float>(m_nW);
    const auto height = static_cast<float>(m_nH);
    m_fCenterX = static_cast<float>(a) / width - 0.5F;
    m_fCenterY = static_cast<float>(b) / height - 0.5F;
    m_fRadius = std::hypot(Difference(c, a) / width, Difference(d, b) / height);
    return 1;
}

void GEShaderVignette::SetUniforms(GLProgram& program) {
    program.Uniform2f(kCenter, m_fCenterX, m_fCenterY);
    program.Uniform2f(kRadius, m_fRadius - m_fSoftness, m_fRadius + m_fSoftness);
    program.Uniform1f(kScreenRatio, m_fScreenRatio);
    // Capture blocks are fetched through the crop, so their program has neither.
    program.Uniform4f(kCrop, m_crop.x, m_crop.y, m_crop.w, m_crop.h);
    program.Uniform1f(kWidthCompensate, m_fWidthComp);
}

void GEShaderVignette::BeginCapture(int imgW, int imgH) {
    m_fScreenRatio = static_cast<float>(imgW) / static_cast<float>(imgH);
}

std::unique_ptr<BlockPlan> GEShaderVignette::MakePlan(const CaptureGeometry& geometry) const {
    return std::make_unique<CroppedPlan>(geometry, m_crop);
}
