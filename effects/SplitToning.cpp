#include "effects/SplitToning.h"

#include <cmath>

#include "engine/DisplaySize.h"
#include "engine/LookUpTexture.h"
#include "engine/ShaderTexts.h"

namespace {

LogTag gCMLog("GEShaderSplitToning");
LogTag gSCLog("GEShaderSplitToningSC");

constexpr char kVertex[] = RAMP_VERTEX;
constexpr char kLargeVertex[] = RAMP_LARGE_VERTEX;

// Graded luma, toned chroma, to RGB, darkened by the mask. `pick` is where the source is read,
// `place` where the mask is; `tone` changes the chroma of src by its luma.
#define SPLIT_TONING_MAIN(pick, place, tone)            \
    "uniform sampler2D g_sImageTexture;\n"              \
    "uniform sampler2D g_sMaskTexture;\n"               \
    "uniform mat4 u_mat_yuv2rgb;\n"                     \
    "uniform vec4 g_fvSplitTones;\n"                    \
    "varying vec2 g_vTexCoord;\n"                       \
    "void main() {\n"                                   \
    "  vec4 src = texture2D(g_sImageTexture, " pick     \
    ");\n"                                              \
    "  src.x = gradedLuma(src.x);\n" tone               \
    "  vec4 rgb = u_mat_yuv2rgb * src;\n"               \
    "  gl_FragColor = texture2D(g_sMaskTexture, " place \
    ") * g_fvController.w * rgb;\n"                     \
    "}\n"

// Dark pixels take the shadows' tones, bright ones the highlights'. The comparisons within pow()
// are made one pixel at a time where the compiler can tell that the base is a half float; a term
// too small for any tone hides that from it.
#define CM_TONE                                                    \
    "#ifdef FOR_SOFTWARE\n"                                        \
    "  float bright = pow(src.x + 1.0e-30, g_fvController.z);\n"   \
    "#else\n"                                                      \
    "  float bright = pow(src.x, g_fvController.z);\n"             \
    "#endif\n"                                                     \
    "  src.z = mix(g_fvSplitTones.z, g_fvSplitTones.x, bright);\n" \
    "  src.y = mix(g_fvSplitTones.w, g_fvSplitTones.y, bright);\n"

// Chroma moves by luma, its two parts in opposite directions, and is halved about neutral.
#define SC_TONE                                           \
    "  float shift = g_fvController.z * (src.x - 0.5);\n" \
    "  src.y = 0.5 * (src.y - 0.5 + shift) + 0.5;\n"      \
    "  src.z = 0.5 * (src.z - 0.5 - shift) + 0.5;\n"

#define HIGHP "precision highp float;\n"
#define PLACE "varying vec2 v_globalTexCoord;\n"

constexpr char kCMFragment[] =
    HIGHP GRADED_LUMA CROP_PICK SPLIT_TONING_MAIN("pick(g_vTexCoord)", "g_vTexCoord", CM_TONE);
constexpr char kCMLargeFragment[] =
    HIGHP GRADED_LUMA PLACE SPLIT_TONING_MAIN("g_vTexCoord", "v_globalTexCoord", CM_TONE);
constexpr char kSCFragment[] =
    HIGHP GRADED_LUMA SPLIT_TONING_MAIN("g_vTexCoord", "g_vTexCoord", SC_TONE);
constexpr char kSCLargeFragment[] =
    HIGHP GRADED_LUMA PLACE SPLIT_TONING_MAIN("g_vTexCoord", "v_globalTexCoord", SC_TONE);

enum Uniform : unsigned { kSplitTones = 2, kCrop, kWidthCompensate };

constexpr GLLocation kTonesRow = {GLLocation::kUniform, "g_fvSplitTones", kSplitTones,
                                  "m_pnUniLoc[UNIFORM_SPLIT_TONES]", "UNIFORM_SPLIT_TONES"};

constexpr GLLocation kCMLocations[] = {
    kRampVertexRow,  kTextureCoordRow,
    kRampInputRow,   kRampMaskRow,
    kContrastRow,    kClipRow,
    kControlRow,     kTonesRow,
    CropRow(kCrop),  WidthCompensateRow(kWidthCompensate),
    kColorMatrixRow,
};
constexpr GLLocation kCMLargeLocations[] = {
    kRampVertexRow, kTextureCoordRow, kGlobalCoordRow, kRampInputRow, kRampMaskRow,
    kContrastRow,   kClipRow,         kControlRow,     kTonesRow,     kColorMatrixRow,
};
// SC declares the tones without reading them, so they have no location there.
constexpr GLLocation kSCLocations[] = {
    kRampVertexRow, kTextureCoordRow, kRampInputRow, kRampMaskRow,
    kContrastRow,   kClipRow,         kControlRow,   kColorMatrixRow,
};
constexpr GLLocation kSCLargeLocations[] = {
    kRampVertexRow, kTextureCoordRow, kGlobalCoordRow, kRampInputRow,   kRampMaskRow,
    kContrastRow,   kClipRow,         kControlRow,     kColorMatrixRow,
};

constexpr GLProgramTable kCMTable = {kVertex, kCMFragment, kCMLocations, std::size(kCMLocations),
                                     3};
constexpr GLProgramTable kCMLargeTable = {kLargeVertex, kCMLargeFragment, kCMLargeLocations,
                                          std::size(kCMLargeLocations), 3};
constexpr GLProgramTable kSCTable = {kVertex, kSCFragment, kSCLocations, std::size(kSCLocations),
                                     3};
constexpr GLProgramTable kSCLargeTable = {kLargeVertex, kSCLargeFragment, kSCLargeLocations,
                                          std::size(kSCLargeLocations), 3};

constexpr SinglePassTraits kCMTraits = {gCMLog, "SplitToning shader", "SplitToning large shader",
                                        nullptr, "program"};
constexpr SinglePassTraits kSCTraits = {
    gSCLog, "SplitToning shader", "SplitToning large shader", "f", "program", true};

constexpr const char* kWideMask = "mask_vignette_wide.bmp";
constexpr const char* kLegacyMask = "mask_vignette_legacy.bmp";

constexpr RampLook kCM = {nullptr,
                          kWideMask,
                          GL_LUMINANCE,
                          "can't load vignette tex",
                          "can't load contrast tex",
                          {0.0F, 1.0F, 0.0F, 1.0F},
                          {0.8F, 0.7F, 0.6F, 1.0F},
                          false,
                          false};
constexpr RampLook kSC = {"GEShaderSplitToningSC::Init",
                          kWideMask,
                          GL_LUMINANCE,
                          "\t\tcan't load LUT tex",
                          "\t\tcan't load contrast tex",
                          {0.0F, 1.0F, 0.0F, 1.0F},
                          {0.6F, 0.8F, 0.4F, 1.0F},
                          true,
                          false};

// The ramp's keys: chroma (U, V) of highlights, then of shadows.
constexpr GEShaderSplitToningCM::Tones kKeys[] = {
    {0.455F, 0.556F, 0.705F, 0.365F}, {0.409F, 0.63F, 0.645F, 0.257F},
    {0.354F, 0.656F, 0.5F, 0.35F},    {0.412F, 0.577F, 0.3F, 0.607F},
    {0.475F, 0.525F, 0.352F, 0.75F},
};
constexpr int kSegment = 25;  // places from key to key, the last of them on the next key already

bool IsNear(float ratio, float expected) {
    return std::abs(ratio - expected) < 0.1F;
}

}  // namespace

GLProgSplitToningCM::GLProgSplitToningCM() : GLTableProgram(gCMLog, kCMTable) {}

GLProgSplitToningCMLarge::GLProgSplitToningCMLarge() : GLTableProgram(gCMLog, kCMLargeTable) {}

GLProgSplitToningSC::GLProgSplitToningSC() : GLTableProgram(gSCLog, kSCTable) {}

GLProgSplitToningSCLarge::GLProgSplitToningSCLarge() : GLTableProgram(gSCLog, kSCLargeTable) {}

GEShaderSplitToningCM::GEShaderSplitToningCM() : RampEffect(kCMTraits, kCM) {}

GLProgram* GEShaderSplitToningCM::CreateProgram() const {
    if (m_bCapture) return new GLProgSplitToningCMLarge;
    return new GLProgSplitToningCM;
}

void GEShaderSplitToningCM::StoreHints() {
    m_nHintW = g_Disp_Width;
    m_nHintH = g_Disp_Height;
    m_tones = {0.5F, 0.5F, 0.5F, 0.5F};
}

GLTexture* GEShaderSplitToningCM::LoadLook() {
    const float ratio = static_cast<float>(m_nW) / static_cast<float>(m_nH);
    const bool wide = IsNear(ratio, 1.7777778F) || IsNear(ratio, 1.6666666F);
    return LoadLookUp(wide ? kWideMask : kLegacyMask, look().format, LookUpPath::kSystemOnly);
}

void GEShaderSplitToningCM::InitTexCoord() {
    m_texCoord = kQuadCoords;
    m_fWidthComp = static_cast<float>(m_nW) / static_cast<float>(m_pSrcTexture->m_nStride);
}

GEShaderSplitToningCM::Tones GEShaderSplitToningCM::TonesAt(int place) {
    if (place == 100) place = 99;
    int segment = place / kSegment;
    if (segment == 4) segment = 3;
    if (segment < 1 || segment > 3) segment = 0;
    const float t = static_cast<float>(place % kSegment) / static_cast<float>(kSegment - 1);
    const Tones& start = kKeys[segment];
    const Tones& end = kKeys[segment + 1];
    Tones tones{};
    for (std::size_t i = 0; i < tones.size(); ++i) tones[i] = start[i] - t * (start[i] - end[i]);
    return tones;
}

int GEShaderSplitToningCM::SetParam(unsigned int index, int a, int, int, int) {
    if (!m_bInit) {
        LOG_ERROR(gCMLog, "[%s] effect not initialized", "SetParam");
        return 0;
    }
    if (index == 0) m_tones = TonesAt(a);
    return 1;
}

void GEShaderSplitToningCM::SetUniforms(GLProgram& program) {
    RampEffect::SetUniforms(program);
    program.Uniform4f(kSplitTones, m_tones[0], m_tones[1], m_tones[2], m_tones[3]);
    // Capture blocks are fetched through the crop, so their program has neither.
    program.Uniform4f(kCrop, m_crop.x, m_crop.y, m_crop.w, m_crop.h);
    if (!m_bCapture) program.Uniform1f(kWidthCompensate, m_fWidthComp);
}

std::unique_ptr<BlockPlan> GEShaderSplitToningCM::MakePlan(const CaptureGeometry& geometry) const {
    return std::make_unique<CroppedPlan>(geometry, m_crop);
}

GEShaderSplitToningSC::GEShaderSplitToningSC() : RampEffect(kSCTraits, kSC) {}

GLProgram* GEShaderSplitToningSC::CreateProgram() const {
    if (m_bCapture) return new GLProgSplitToningSCLarge;
    return new GLProgSplitToningSC;
}

void GEShaderSplitToningSC::StoreHints() {
    m_nHintW = g_Disp_Width;
    m_nHintH = g_Disp_Height;
}
