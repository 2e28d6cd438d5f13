#include "effects/Contrast.h"

#include "engine/ShaderTexts.h"

namespace {

LogTag gLog("GEShaderContrast");

constexpr char kLargeVertex[] = LARGE_VERTEX("v_textureCoord");

// Curves each channel and mixes the grey of them, darkened by the mask at `place`. Red and blue are
// mixed from the curve's opposite channels; the look depends on it.
#define CONTRAST_MAIN(place)                                              \
    "precision highp float;\n" ON_CURVE                                   \
    "varying vec2 v_textureCoord;\n"                                      \
    "uniform sampler2D s_texture0;\n"                                     \
    "uniform sampler2D s_curve;\n"                                        \
    "uniform sampler2D s_vignette;\n"                                     \
    "uniform mat4 u_mat_yuv2rgb;\n"                                       \
    "void main() {\n"                                                     \
    "  vec4 p = u_mat_yuv2rgb * texture2D(s_texture0, v_textureCoord);\n" \
    "  float gray = onCurve(s_curve, p.r, 0.0).r * 0.299;\n"              \
    "  gray += onCurve(s_curve, p.g, 0.0).g * 0.587;\n"                   \
    "  gray += onCurve(s_curve, p.b, 0.0).b * 0.114;\n"                   \
    "  p.rgb = vec3(gray);\n"                                             \
    "  gl_FragColor = p * texture2D(s_vignette, " place                   \
    ");\n"                                                                \
    "}\n"

constexpr char kFragment[] = CONTRAST_MAIN("v_textureCoord");
constexpr char kLargeFragment[] =
    "varying highp vec2 v_globalTexCoord;\n" CONTRAST_MAIN("v_globalTexCoord");

constexpr GLLocation kLargeLocations[] = {
    kVertexCoordRow, kTextureCoordRow, kInputRow,       kVignetteRow,
    kCurveRow,       kColorMatrixRow,  kGlobalCoordRow,
};
// Preview frames have no place in a larger image.
constexpr GLProgramTable kTable = {kCurveVertex, kFragment, kLargeLocations,
                                   std::size(kLargeLocations) - 1, 3};
constexpr GLProgramTable kLargeTable = {kLargeVertex, kLargeFragment, kLargeLocations,
                                        std::size(kLargeLocations), 3};

constexpr SinglePassTraits kTraits = {gLog, "Contrast-Cross shader", "Contrast-Cross large shader",
                                      "n", "program cross"};

}  // namespace

GLProgContrast::GLProgContrast() : GLTableProgram(gLog, kTable) {}

GLProgContrastLarge::GLProgContrastLarge() : GLTableProgram(gLog, kLargeTable) {}

GEShaderContrast::GEShaderContrast() : CurveEffect(kTraits) {}

GLProgram* GEShaderContrast::CreateProgram() const {
    if (m_bCapture) return new GLProgContrastLarge;
    return new GLProgContrast;
}

int GEShaderContrast::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                           unsigned int w, unsigned int h, unsigned char bCapture,
                           IYUVConverter* cb) {
    if (!BeginInit("GEShaderContrast::Init", src, out, x, y, w, h, bCapture, cb)) return 0;
    m_cross = LoadCurve("CurveCross.bmp", "cross", "cross");
    if (m_cross == nullptr || !LoadMasks() || !InitProgram()) return 0;
    if (!UseCurve(m_cross.get(), m_mask.get())) return 0;
    InitPartialTexCoord();
    return FinishInit();
}

int GEShaderContrast::SetParam(unsigned int index, int a, int, int, int) {
    if (!m_bInit) {
        LOG_ERROR(gLog, "[%s] effect not initialized", "SetParam");
        return 0;
    }
    if (index != 0) return 0;
    if (a != 0) {
        LOG_ERROR(gLog, "[%s] wrong param", "SetParam");
        return 0;
    }
    LOG_INFO(gLog, "[%s] Contrast - cross", "SetParam");
    UseCurve(m_cross.get(), m_mask.get());
    return 0;
}
