#include "effects/TwoToneMask.h"

namespace {

LogTag gVLog("GEShaderTwoToneMaskV");
LogTag gHLog("GEShaderTwoToneMaskH");

constexpr char kVertex[] = RAMP_VERTEX;
constexpr char kLargeVertex[] = RAMP_LARGE_VERTEX;

// Graded luma to RGB, multiplied by the mask at `place`, which a negative control.w dims and which
// never brightens.
#define TWO_TONE_FRAGMENT(place)                                                      \
    "precision highp float;\n" GRADED_LUMA                                            \
    "varying vec2 g_vTexCoord;\n"                                                     \
    "uniform sampler2D g_sImageTexture;\n"                                            \
    "uniform sampler2D g_sMaskTexture;\n"                                             \
    "uniform mat4 u_mat_yuv2rgb;\n"                                                   \
    "void main() {\n"                                                                 \
    "  vec4 src = texture2D(g_sImageTexture, g_vTexCoord);\n"                         \
    "  src.x = gradedLuma(src.x);\n"                                                  \
    "  vec4 rgb = u_mat_yuv2rgb * src;\n"                                             \
    "  vec3 mask = texture2D(g_sMaskTexture, " place                                  \
    ").rgb;\n"                                                                        \
    "  gl_FragColor = vec4(min(mask * (1.0 + g_fvController.w), vec3(1.0)), 1.0) *\n" \
    "      rgb;\n"                                                                    \
    "}\n"

constexpr char kVFragment[] = TWO_TONE_FRAGMENT("g_vTexCoord");
constexpr char kVLargeFragment[] =
    "varying highp vec2 v_globalTexCoord;\n" TWO_TONE_FRAGMENT("v_globalTexCoord");
constexpr char kHFragment[] = TWO_TONE_FRAGMENT("g_vTexCoord.yx");
constexpr char kHLargeFragment[] =
    "varying highp vec2 v_globalTexCoord;\n" TWO_TONE_FRAGMENT("v_globalTexCoord.yx");

constexpr GLLocation kLocations[] = {
    kRampVertexRow, kTextureCoordRow, kRampInputRow, kRampMaskRow,
    kContrastRow,   kClipRow,         kControlRow,   kColorMatrixRow,
};
constexpr GLLocation kLargeLocations[] = {
    kRampVertexRow, kTextureCoordRow, kGlobalCoordRow, kRampInputRow,   kRampMaskRow,
    kContrastRow,   kClipRow,         kControlRow,     kColorMatrixRow,
};

constexpr GLProgramTable kVTable = {kVertex, kVFragment, kLocations, std::size(kLocations), 3};
constexpr GLProgramTable kVLargeTable = {kLargeVertex, kVLargeFragment, kLargeLocations,
                                         std::size(kLargeLocations), 3};
constexpr GLProgramTable kHTable = {kVertex, kHFragment, kLocations, std::size(kLocations), 3};
constexpr GLProgramTable kHLargeTable = {kLargeVertex, kHLargeFragment, kLargeLocations,
                                         std::size(kLargeLocations), 3};

// H's creation lines have always named V.
constexpr SinglePassTraits kVTraits = {
    gVLog, "TwoToneMaskV shader", "TwoToneMaskV large shader", "f", "program", true};
constexpr SinglePassTraits kHTraits = {
    gHLog, "TwoToneMaskV shader", "TwoToneMaskV large shader", "f", "program", true};

constexpr const char* kMaskFailed = "\t\tcan't load Mask tex";
constexpr const char* kContrastFailed = "\t\tcan't load contrast tex";

// The two are tuned apart: V dims its mask to 85 %, H to 70 %.
constexpr RampLook kV = {
    "GEShaderTwoToneMaskV::Init", "twoToneMaskV.bmp",         GL_RGB, kMaskFailed, kContrastFailed,
    {0.0F, 1.0F, 0.0F, 1.0F},     {0.7F, 0.6F, 0.0F, -0.15F}, true,   false};
constexpr RampLook kH = {
    "GEShaderTwoToneMaskH::Init", "twoToneMaskH.bmp",        GL_RGB, kMaskFailed, kContrastFailed,
    {0.0F, 1.0F, 0.0F, 1.0F},     {1.0F, 0.8F, 0.0F, -0.3F}, true,   false};

}  // namespace

GLProgTwoToneMaskV::GLProgTwoToneMaskV() : GLTableProgram(gVLog, kVTable) {}

GLProgTwoToneMaskVLarge::GLProgTwoToneMaskVLarge() : GLTableProgram(gVLog, kVLargeTable) {}

GLProgTwoToneMaskH::GLProgTwoToneMaskH() : GLTableProgram(gHLog, kHTable) {}

GLProgTwoToneMaskHLarge::GLProgTwoToneMaskHLarge() : GLTableProgram(gHLog, kHLargeTable) {}

GEShaderTwoToneMaskV::GEShaderTwoToneMaskV() : RampEffect(kVTraits, kV) {}

GLProgram* GEShaderTwoToneMaskV::CreateProgram() const {
    if (m_bCapture) return new GLProgTwoToneMaskVLarge;
    return new GLProgTwoToneMaskV;
}

GEShaderTwoToneMaskH::GEShaderTwoToneMaskH() : RampEffect(kHTraits, kH) {}

GLProgram* GEShaderTwoToneMaskH::CreateProgram() const {
    if (m_bCapture) return new GLProgTwoToneMaskHLarge;
    return new GLProgTwoToneMaskH;
}
