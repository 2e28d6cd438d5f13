#include "effects/DepthOfField.h"

#include "effects/SizeUpTexts.h"
#include "engine/CommonLocations.h"

namespace {

LogTag gLog("GEShaderDoF");

// `place` is the position in the picture, whose height is shorter than its width by the ratio.
#define FOCUS_CIRCLE(place)                                   \
    "uniform vec2 u_center;\n"                                \
    "uniform float u_fWHRatioSquare;  // width over height\n" \
    "float distanceFromFocus() {\n"                           \
    "  vec2 shift = " place                                   \
    " - u_center;\n"                                          \
    "  shift.y /= u_fWHRatioSquare;\n"                        \
    "  return length(shift);\n"                               \
    "}\n"

constexpr char kFragment[] = SIZE_UP_INPUTS FOCUS_CIRCLE("v_blurTexCoord") SIZE_UP_BY_DISTANCE;
constexpr char kLargeFragment[] = SIZE_UP_INPUTS
    "varying vec2 v_globalTexCoord;\n" FOCUS_CIRCLE("v_globalTexCoord") SIZE_UP_BY_DISTANCE;

constexpr GLLocation kLargeLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    kBlurCoordRow,
    kBlurSamplerRow,
    kClearSamplerRow,
    kFocusCenterRow,
    kFocusDistanceRow,
    {GLLocation::kUniform, "u_fWHRatioSquare", kFocusShape, "m_nUniformLoc[UNIFORM_WH_RATIO_SQ]",
     "UNIFORM_WH_RATIO_SQ"},
    kFocusMixWeightRow,
    kSizeUpMatrixRow,
    kSizeUpGlobalCoordRow,
};
constexpr GLProgramTable kLargeTable = {kSizeUpLargeVertex, kLargeFragment, kLargeLocations,
                                        std::size(kLargeLocations), 2};
// All but the place in the whole image.
constexpr GLProgramTable kTable = {kSizeUpVertex, kFragment, kLargeLocations,
                                   std::size(kLargeLocations) - 1, 2};

constexpr BlurTraits kTraits = {gLog, 320, 960, 192, 544, 1.5F, 32, true, true};

}  // namespace

GLProgPassBlur::GLProgPassBlur() : GLProgBlur(gLog) {}

GLProgPassSizeUp::GLProgPassSizeUp() : GLTableProgram(gLog, kTable) {}

GLProgPassSizeUpLarge::GLProgPassSizeUpLarge() : GLTableProgram(gLog, kLargeTable) {}

GEShaderDoF::GEShaderDoF() : FocusEffect(kTraits) {}

GLProgBlur* GEShaderDoF::CreateBlurProgram() const {
    return new GLProgPassBlur;
}

GLProgram* GEShaderDoF::CreateSizeUpProgram() const {
    if (m_bCapture) return new GLProgPassSizeUpLarge;
    return new GLProgPassSizeUp;
}

QuadCoords& GEShaderDoF::previewQuad() const {
    thread_local QuadCoords quad = kQuadCoords;
    return quad;
}

int GEShaderDoF::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                      unsigned int w, unsigned int h, unsigned char bCapture, IYUVConverter* cb) {
    ResetFocus();
    if (!InitBlur(src, out, x, y, w, h, bCapture, cb)) return 0;
    m_fWHRatioSquare = static_cast<float>(src->m_nWidth) / static_cast<float>(src->m_nHeight);
    return FinishInit();
}

// Not corrected for the picture's shape, unlike what it is compared with.
void GEShaderDoF::SetEdge(const FocusDistance& distance) {
    const auto radius = static_cast<double>(distance.length);
    m_inner = static_cast<float>(radius - kHalfEdge);
    m_outer = static_cast<float>(radius + kHalfEdge);
}

void GEShaderDoF::BeginCapture(int imgW, int imgH) {
    m_fWHRatioSquare = static_cast<float>(imgW) / static_cast<float>(imgH);
}

void GEShaderDoF::SetSizeUpUniforms(GLProgram& program) {
    FocusEffect::SetSizeUpUniforms(program);
    program.Uniform1f(kFocusShape, m_fWHRatioSquare);
}
