#include "effects/Mirror.h"

#include "engine/CommonLocations.h"
#include "engine/ShaderTexts.h"

namespace {

LogTag gLog("GEShaderMirror");

constexpr char kVertex[] = PASS_THROUGH_VERTEX("v_texCoord");
constexpr char kLargeVertex[] = UNREAD_GLOBAL_VERTEX("v_texCoord");

// The half up to the middle is kept, the middle included.
#define FOLD_ALONG(axis)                                               \
    "precision highp float;\n"                                         \
    "varying vec2 v_texCoord;\n"                                       \
    "uniform sampler2D s_texture0;\n"                                  \
    "uniform mat4 u_mat_yuv2rgb;\n"                                    \
    "void main() {\n"                                                  \
    "  vec2 place = v_texCoord;\n"                                     \
    "  if (place." axis " > 0.5) place." axis " = 1.0 - place." axis   \
    ";\n"                                                              \
    "  gl_FragColor = u_mat_yuv2rgb * texture2D(s_texture0, place);\n" \
    "}\n"

constexpr char kLandscapeFragment[] = FOLD_ALONG("x");
constexpr char kPortraitFragment[] = FOLD_ALONG("y");

constexpr GLLocation kLocations[] = {kVertexCoordRow, kTextureCoordRow, kInputRow, kColorMatrixRow};
constexpr GLLocation kLargeLocations[] = {kVertexCoordRow, kTextureCoordRow, kGlobalCoordRow,
                                          kInputRow, kColorMatrixRow};

// By the landscape flag.
constexpr GLProgramTable kTables[] = {
    {kVertex, kPortraitFragment, kLocations, std::size(kLocations), 1},
    {kVertex, kLandscapeFragment, kLocations, std::size(kLocations), 1},
};
constexpr GLProgramTable kLargeTables[] = {
    {kLargeVertex, kPortraitFragment, kLargeLocations, std::size(kLargeLocations), 1},
    {kLargeVertex, kLandscapeFragment, kLargeLocations, std::size(kLargeLocations), 1},
};

constexpr SinglePassTraits kTraits = {gLog, "Mirror shader", "Mirror large shader", "f", "program"};

constexpr int kHintWidth = 960;
constexpr int kHintHeight = 544;

}  // namespace

GLProgMirror::GLProgMirror(bool landscape) : GLProgMirror(landscape, kTables[landscape ? 1 : 0]) {}

GLProgMirror::GLProgMirror(bool landscape, const GLProgramTable& table)
    : GLTableProgram(gLog, table), m_landscape(landscape) {}

void GLProgMirror::BeginLoad() {
    // Spelled as whoever reads the logs has always searched for it.
    LOG_INFO(gLog, "[Prism] load %s mirror shader", m_landscape ? "Landscape" : "Protrait");
}

GLProgMirrorLarge::GLProgMirrorLarge(bool landscape)
    : GLProgMirror(landscape, kLargeTables[landscape ? 1 : 0]) {}

GEShaderMirror::GEShaderMirror() : SinglePassEffect(kTraits) {}

GLProgram* GEShaderMirror::CreateProgram() const {
    if (m_bCapture) return new GLProgMirrorLarge(m_bLandscape);
    return new GLProgMirror(m_bLandscape);
}

int GEShaderMirror::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                         unsigned int w, unsigned int h, unsigned char bCapture,
                         IYUVConverter* cb) {
    LogBanner("GEShaderMirror::Init");
    StoreInitArguments(src, out, x, y, w, h, bCapture, kHintWidth, kHintHeight);
    if (!InitBase(cb) || !InitProgram()) return 0;
    InitPartialTexCoord();
    return FinishInit();
}

int GEShaderMirror::SetParam(unsigned int, int, int, int, int) {
    if (m_bInit) return 1;
    LOG_ERROR(gLog, "[%s] effect not initialized", "SetParam");
    return 0;
}
