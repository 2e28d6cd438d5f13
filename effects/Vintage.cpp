#include "effects/Vintage.h"

#include <cstdlib>
#include <ctime>

#include "engine/ShaderTexts.h"

namespace {

LogTag gLog("GEShaderVintage");

constexpr char kLargeVertex[] = LARGE_VERTEX("v_textureCoord");

// The look of a colour: each channel through its curve. The files store blue, green, red, so the
// curve of red arrives in blue.
#define VINTAGE_CURVES                        \
    ON_CURVE                                  \
    "uniform sampler2D s_curve;\n"            \
    "vec4 curved(vec4 p) {\n"                 \
    "  p.r = onCurve(s_curve, p.r, 0.0).b;\n" \
    "  p.g = onCurve(s_curve, p.g, 0.0).g;\n" \
    "  p.b = onCurve(s_curve, p.b, 0.0).r;\n" \
    "  return p;\n"                           \
    "}\n"

constexpr char kFragment[] = "precision highp float;\n" CROP_PICK VINTAGE_CURVES
                             R"glsl(
  // The shown part of the frame through the curves, darkened by the mask over the whole frame.
  varying vec2 v_textureCoord;
  uniform sampler2D s_texture0;
  uniform sampler2D s_vignette;
  uniform mat4 u_mat_yuv2rgb;

  void main() {
    vec4 p = u_mat_yuv2rgb * texture2D(s_texture0, pick(v_textureCoord));
    gl_FragColor = curved(p) * texture2D(s_vignette, v_textureCoord);
  }
)glsl";

constexpr char kLargeFragment[] = "precision highp float;\n" VINTAGE_CURVES
                                  R"glsl(
  // A block through the curves, darkened by the mask at its place in the image.
  varying vec2 v_textureCoord;
  varying vec2 v_globalTexCoord;
  uniform sampler2D s_texture0;
  uniform sampler2D s_vignette;
  uniform mat4 u_mat_yuv2rgb;

  void main() {
    vec4 p = u_mat_yuv2rgb * texture2D(s_texture0, v_textureCoord);
    gl_FragColor = curved(p) * texture2D(s_vignette, v_globalTexCoord);
  }
)glsl";

enum Uniform : unsigned { kCrop = 3, kWidthCompensate = 4 };

constexpr GLLocation kLocations[] = {
    kVertexCoordRow, kTextureCoordRow, kInputRow,      kVignetteRow,
    kCurveRow,       kColorMatrixRow,  CropRow(kCrop), WidthCompensateRow(kWidthCompensate),
};
constexpr GLLocation kLargeLocations[] = {
    kVertexCoordRow, kTextureCoordRow, kGlobalCoordRow, kInputRow,
    kVignetteRow,    kCurveRow,        kColorMatrixRow,
};
constexpr GLProgramTable kTable = {kCurveVertex, kFragment, kLocations, std::size(kLocations), 3};
constexpr GLProgramTable kLargeTable = {kLargeVertex, kLargeFragment, kLargeLocations,
                                        std::size(kLargeLocations), 3};

constexpr SinglePassTraits kTraits = {gLog, "Vintage-Cross shader", "Vintage-Cross large shader",
                                      "f", "program cross"};

}  // namespace

GLProgVintage::GLProgVintage() : GLTableProgram(gLog, kTable) {}

GLProgVintageLarge::GLProgVintageLarge() : GLTableProgram(gLog, kLargeTable) {}

int GLProgVintageLarge::Load() {
    // Of old; nothing draws random numbers.
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    return GLTableProgram::Load();
}

GEShaderVintage::GEShaderVintage() : CurveEffect(kTraits) {}

GLProgram* GEShaderVintage::CreateProgram() const {
    if (m_bCapture) return new GLProgVintageLarge;
    return new GLProgVintage;
}

int GEShaderVintage::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                          unsigned int w, unsigned int h, unsigned char bCapture,
                          IYUVConverter* cb) {
    if (!BeginInit("GEShaderVintage::Init", src, out, x, y, w, h, bCapture, cb)) return 0;
    struct {
        std::unique_ptr<GLTexture>& texture;
        const char* file;
        const char* creating;
        const char* failed;
    } const curves[] = {
        {m_cross, "CurveCross.bmp", "cross", "cross"},
        {m_cold, "CurveCold.bmp", "cold", "hc"},
        {m_warm, "CurveWarm.bmp", "warm", "warm"},
        {m_sepia, "CurveSepia.bmp", "sepia", "sepia"},
    };
    for (const auto& curve : curves) {
        curve.texture = LoadCurve(curve.file, curve.creating, curve.failed);
        if (curve.texture == nullptr) return 0;
    }
    if (!LoadMasks() || !InitProgram()) return 0;
    if (!UseCurve(m_cross.get(), m_mask.get())) return 0;
    m_fWidthComp = static_cast<float>(w) / static_cast<float>(src->m_nStride);
    return FinishInit();
}

int GEShaderVintage::SetParam(unsigned int index, int a, int, int, int) {
    if (!m_bInit) {
        LOG_ERROR(gLog, "[%s] effect not initialized", "SetParam");
        return 0;
    }
    if (index != 0) return 0;
    struct {
        GLTexture* curve;
        GLTexture* mask;
        const char* name;
    } const looks[] = {
        {m_cross.get(), m_mask.get(), "cross"},
        {m_cold.get(), m_mask.get(), "cold"},
        {m_warm.get(), m_mask.get(), "warm"},
        {m_sepia.get(), m_white.get(), "Sepia"},
    };
    if (static_cast<unsigned>(a) >= std::size(looks)) {
        LOG_ERROR(gLog, "[%s] wrong param", "SetParam");
        return 0;
    }
    const auto& look = looks[a];
    LOG_INFO(gLog, "[%s] Vintage - %s", "SetParam", look.name);
    UseCurve(look.curve, look.mask);
    return 0;
}

void GEShaderVintage::SetUniforms(GLProgram& program) {
    // The capture program has neither.
    program.Uniform4f(kCrop, m_crop.x, m_crop.y, m_crop.w, m_crop.h);
    if (!m_bCapture) program.Uniform1f(kWidthCompensate, m_fWidthComp);
}
