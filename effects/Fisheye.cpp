#include "effects/Fisheye.h"

#include <algorithm>

#include "engine/BlockPlan.h"
#include "engine/CommonLocations.h"
#include "engine/ShaderTexts.h"
#include "gl/GECommon.h"

namespace {

LogTag gLog("GEShaderFisheye");

constexpr char kVertex[] = PASS_THROUGH_VERTEX("v_texCoord");

// Where in the picture the pixel at v_texCoord comes from. Along the ray from the centre through a
// pixel at distance rr, the picture ends at distance nr, on the ellipse that the picture's edges
// make in that quarter. Strengths up to 1 pull pixels along (rr / nr) to the power of the strength,
// which leaves the edge in place; strengths beyond 1 push the middle outwards.
#define DISTORTED_PLACE                                                                           \
    "precision highp float;\n"                                                                    \
    "varying vec2 v_texCoord;\n"                                                                  \
    "uniform vec2 u_distort;  // strength; the second is not read\n"                              \
    "uniform vec2 u_shift;\n"                                                                     \
    "uniform vec2 u_scale;\n"                                                                     \
    "uniform vec2 u_center;\n"                                                                    \
    "uniform vec4 u_crop;     // x, y, width, height: fractions\n"                                \
    "uniform mat4 u_mat_yuv2rgb;\n"                                                               \
    "uniform sampler2D s_texture0;\n"                                                             \
    "\n"                                                                                          \
    "vec2 distortedPlace() {\n"                                                                   \
    "  vec2 t = v_texCoord * u_scale - u_shift;\n"                                                \
    "  // On the axes through the centre the ellipse's terms are 0 / 0: step aside by less than " \
    "a\n"                                                                                         \
    "  // thousandth of a pixel.\n"                                                               \
    "  t += vec2(equal(t, vec2(0.0))) * 1.0e-8;\n"                                                \
    "  float sx = t.x * t.x;\n"                                                                   \
    "  float sy = t.y * t.y;\n"                                                                   \
    "  float rr = sqrt(sx + sy);\n"                                                               \
    "  float a = -sign(t.x) * u_center.x + ceil(t.x);\n"                                          \
    "  float b = -sign(t.y) * u_center.y + ceil(t.y);\n"                                          \
    "  float ny2 = (a * a * b * b) / (sx * b * b / sy + a * a);\n"                                \
    "  float nx2 = sx * ny2 / sy;\n"                                                              \
    "  float nr = sqrt(nx2 + ny2);\n"                                                             \
    "  float minr = nr * exp(log(rr / nr) * u_distort.x);\n"                                      \
    "  float f = u_distort.x - 1.0;\n"                                                            \
    "  float pf = 2.0 / (1.0 + pow(max(0.0, rr - 0.7), 1.6) * 15.0);\n"                           \
    "  float r = rr * rr * pf * f;\n"                                                             \
    "  float grown = rr * (1.0 + r * 1.5 + r * rr * rr);\n"                                       \
    "  float maxr = f < 0.0 ? grown * (1.0 + pow(-f, 0.5) * 0.72)\n"                              \
    "                       : grown * (1.0 - pow(f, 0.5) * 0.72);\n"                              \
    "  r = (ceil(f) * maxr + (1.0 - ceil(f)) * minr) / rr;\n"                                     \
    "  return (t * r + u_center) * u_crop.zw + u_crop.xy;\n"                                      \
    "}\n"

constexpr char kFragment[] = DISTORTED_PLACE
    R"glsl(
  uniform float u_widthcomp;  // shown width over allocated width

  void main() {
    vec2 place = distortedPlace();
    place.x *= u_widthcomp;
    gl_FragColor = u_mat_yuv2rgb * texture2D(s_texture0, place);
  }
)glsl";

// The chroma plane's pairs lie in luminance and alpha.
constexpr char kLargeFragment[] = DISTORTED_PLACE
    R"glsl(
  uniform sampler2D s_texture1;

  void main() {
    vec2 place = distortedPlace();
    vec4 chroma = texture2D(s_texture1, place);
    gl_FragColor =
        u_mat_yuv2rgb * vec4(texture2D(s_texture0, place).r, chroma.r, chroma.a, 1.0);
  }
)glsl";

enum Uniform : unsigned { kScale = 1, kShift, kCenter, kDistort, kCrop = 6, kWidthComp };
enum Sampler : unsigned { kInput, kChromaInput };

constexpr GLLocation kInputTexRow = {GLLocation::kSampler, "s_texture0", kInput,
                                     "m_pnSamplerLoc[UNIFORM_INPUT_TEX]", "SAMPLER_INPUT_TEX"};
constexpr GLLocation kScaleRow = {GLLocation::kUniform, "u_scale", kScale,
                                  "m_pnSamplerLoc[SAMPLER_POS_SCALE]"};
constexpr GLLocation kShiftRow = {GLLocation::kUniform, "u_shift", kShift,
                                  "m_pnSamplerLoc[SAMPLER_POS_SHIFT]"};
constexpr GLLocation kCenterRow = {GLLocation::kUniform, "u_center", kCenter,
                                   "m_pnSamplerLoc[SAMPLER_POS_CENTER]"};
constexpr GLLocation kDistortRow = {GLLocation::kUniform, "u_distort", kDistort,
                                    "m_pnSamplerLoc[SAMPLER_DISTORT_LEVEL]"};
// The label is the crop's.
constexpr GLLocation kWidthCompRow = {GLLocation::kUniform, "u_widthcomp", kWidthComp,
                                      "m_nUniformLoc[UNIFORM_CROP]"};

constexpr GLLocation kLocations[] = {
    kVertexCoordRow, kTextureCoordRow, kInputTexRow,   kScaleRow,     kShiftRow,
    kCenterRow,      kDistortRow,      CropRow(kCrop), kWidthCompRow, kColorMatrixRow,
};
constexpr GLProgramTable kTable = {kVertex, kFragment, kLocations, std::size(kLocations), 1};

constexpr GLLocation kLargeLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    kInputTexRow,
    {GLLocation::kSampler, "s_texture1", kChromaInput, "m_pnSamplerLoc[UNIFORM_INPUT_TEX_UV]"},
    kScaleRow,
    kShiftRow,
    kCenterRow,
    kDistortRow,
    CropRow(kCrop),
    kColorMatrixRow,
};
constexpr GLProgramTable kLargeTable = {kVertex, kLargeFragment, kLargeLocations,
                                        std::size(kLargeLocations), 2};

// The first line is what logs have always had.
constexpr SinglePassTraits kTraits = {gLog, "vignette shader", nullptr, nullptr, "program"};

constexpr int kHintWidth = 960;
constexpr int kHintHeight = 544;
constexpr int kFirstCenterX = 480;
constexpr int kFirstCenterY = 272;
constexpr float kFirstDistortion = 0.6F;

// Small, so that the targets are; the planes are whole.
constexpr int kTileWidth = 768;
constexpr int kTileHeight = 480;

float Fraction(int part, int whole) {
    return static_cast<float>(part) / static_cast<float>(whole);
}

}  // namespace

GLProgFisheye::GLProgFisheye() : GLProgFisheye(kTable) {}

GLProgFisheye::GLProgFisheye(const GLProgramTable& table) : GLTableProgram(gLog, table) {}

GLProgFisheyeLarge::GLProgFisheyeLarge() : GLProgFisheye(kLargeTable) {}

bool GLProgFisheye::Use() {
    if (!GLTableProgram::Use()) return false;
    Uniform2f(kScale, m_scale[0], m_scale[1]);
    Uniform2f(kShift, m_shift[0], m_shift[1]);
    Uniform2f(kDistort, m_distort[0], m_distort[1]);
    Uniform2f(kCenter, m_center[0], m_center[1]);
    Uniform1f(kWidthComp, m_widthComp);  // the capture's program has none
    return true;
}

GEShaderFisheye::GEShaderFisheye() : SinglePassEffect(kTraits) {}

GEShaderFisheye::~GEShaderFisheye() {
    GEShaderFisheye::Deinit();
}

GLProgram* GEShaderFisheye::CreateProgram() const {
    if (m_bCapture) return new GLProgFisheyeLarge;
    return new GLProgFisheye;
}

void GEShaderFisheye::ReleaseTextures() {
    m_pTexLuma.reset();
    m_pTexChroma.reset();
}

int GEShaderFisheye::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                          unsigned int w, unsigned int h, unsigned char bCapture,
                          IYUVConverter* cb) {
    LOG_INFO(gLog, "[%s] enter", "Init");
    StoreInitArguments(src, out, x, y, w, h, bCapture, kHintWidth, kHintHeight);
    m_centerX = kFirstCenterX;
    m_centerY = kFirstCenterY;
    m_center = {0.5F, 0.5F};
    m_distortion = kFirstDistortion;
    m_widthComp = Fraction(static_cast<int>(w), static_cast<int>(src->m_nStride));
    if (m_bCapture) {
        // The rest is made for the size of the image, when it comes.
        m_pCallback = cb;
        m_crop = CropRect();
    } else {
        if (!InitBase(cb) || !InitProgram()) return 0;
        src->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
    }
    return FinishInit();
}

int GEShaderFisheye::SetParam(unsigned int index, int a, int b, int, int) {
    if (!m_bInit) {
        LOG_ERROR(gLog, "[%s] effect not initialized", "SetParam");
        return 0;
    }
    if (index == 0) {
        m_distortion = 0.6F + static_cast<float>(a) * 1.2F * 0.01F;
        m_secondStrength = 1.2F;
        return 1;
    }
    m_centerX = a;
    m_centerY = b;
    m_center = {std::clamp(Fraction(a, m_nW), 0.1F, 0.9F),
                std::clamp(Fraction(b, m_nH), 0.1F, 0.9F)};
    return 1;
}

void GEShaderFisheye::SetUniforms(GLProgram& program) {
    program.Uniform4f(kCrop, m_crop.x, m_crop.y, m_crop.w, m_crop.h);
}

int GEShaderFisheye::ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) {
    if (!m_bInit) {
        LOG_ERROR(gLog, "[%s] effect not initialized", "ProcFrame");
        return 0;
    }
    if (m_bCapture) return 1;
    GLProgFisheye& values = fisheye();
    values.m_scale = {1.0F, 1.0F};
    values.m_shift = values.m_center = m_center;
    values.m_distort[0] = m_distortion;
    values.m_widthComp = m_widthComp;
    ProcBlock(srcTex, dstTex, w, h);
    return 1;
}

int GEShaderFisheye::ProcBlock(unsigned int srcTex, unsigned int dstTex, int w, int h) {
    const uint32_t started = GetTickCount();
    const int result = SinglePassEffect::ProcBlock(srcTex, dstTex, w, h);
    LOG_INFO(gLog, "** fisheye %d ms", static_cast<int>(GetTickCount() - started));
    return result;
}

int GEShaderFisheye::ProcBlock(unsigned int srcTex, unsigned int dstTex, int w, int h, float,
                               float) {
    return SinglePassEffect::ProcBlock(srcTex, dstTex, w, h);
}

int GEShaderFisheye::ProcFrame(unsigned char* in, unsigned char* out, int imgW, int imgH) {
    return ProcFrame(in, nullptr, out, imgW, imgH);
}

bool GEShaderFisheye::UploadPlanes(const unsigned char* inY, const unsigned char* inUV, int imgW,
                                   int imgH) {
    const auto width = static_cast<unsigned>(imgW);
    const auto height = static_cast<unsigned>(imgH);
    if (imgW % 2 == 0) {
        return m_pTexLuma->UpdateNormalTexture(inY, width, height) &&
               m_pTexChroma->UpdateNormalTexture(inUV, width / 2, height / 2);
    }
    if (!m_pTexLuma->UpdateNormalTexture(inY, width, height) ||
        !m_pTexChroma->UpdateNormalTexture(nullptr, width / 2, height / 2)) {
        return false;
    }
    // Chroma rows are as long as luma rows, whose last byte is no pair here.
    for (int row = 0; row < imgH / 2; ++row) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, row, imgW / 2, 1, GL_LUMINANCE_ALPHA, GL_UNSIGNED_BYTE,
                        inUV + static_cast<std::size_t>(row) * width);
    }
    return true;
}

int GEShaderFisheye::DrawTiles(unsigned char* out, int imgW, int imgH) {
    const TilePlan plan({imgW, imgH, m_nW, m_nH, m_nW});
    unsigned char* outUV = out + static_cast<std::size_t>(imgW) * static_cast<std::size_t>(imgH);
    GLProgFisheye& values = fisheye();
    for (int i = 0; i < plan.blockCount(); ++i) {
        const Rect tile = plan.block(i).output;
        LOG_DEBUG(gLog, "[Fisheye] Output: %d %d size=%d %d", tile.x, tile.y, tile.w, tile.h);
        values.m_shift = {m_center[0] - Fraction(tile.x, imgW),
                          m_center[1] - Fraction(tile.y, imgH)};
        if (!ProcBlock(0, 0, imgW, imgH, 0.0F, 0.0F)) return 0;
        BlockCopyYUV(out, outUV, static_cast<unsigned>(imgW), static_cast<unsigned>(imgH),
                     static_cast<unsigned>(tile.x), tile.y, tile.w, tile.h);
    }
    return 1;
}

int GEShaderFisheye::ProcFrame(unsigned char* inY, unsigned char* inUV, unsigned char* out,
                               int imgW, int imgH) {
    LOG_INFO(gLog, "[%s] enter", "ProcFrame");
    if (!ReadyForCapture(gLog)) return 0;
    if (inY == nullptr || inUV == nullptr || out == nullptr || imgW < 2 || imgH < 2) return 0;
    m_nW = std::min(imgW, kTileWidth);
    m_nH = std::min(imgH, kTileHeight);
    if (!InitYUVConverter(m_nW, m_nH, m_nW, m_nH)) return 0;
    GenerateFence();
    LOG_DEBUG(gLog, "Create YUV Texture::");
    const auto width = static_cast<unsigned>(imgW);
    const auto height = static_cast<unsigned>(imgH);
    glActiveTexture(GL_TEXTURE0);
    m_pTexLuma = std::make_unique<GLTexture>();
    m_pTexChroma = std::make_unique<GLTexture>();
    if (!m_pTexLuma->Init(GL_LUMINANCE, GL_UNSIGNED_BYTE, width, height, 0) ||
        !m_pTexChroma->Init(GL_LUMINANCE_ALPHA, GL_UNSIGNED_BYTE, width / 2, height / 2, 0)) {
        return 0;
    }
    if (!InitProgram("ProcFrame")) return 0;
    // The planes' own textures wrap round: what the distortion takes from beyond one edge comes
    // from the other.
    m_pSrcTexture->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
    program()->SetTextures(kInput, m_pTexLuma.get());
    program()->SetTextures(kChromaInput, m_pTexChroma.get());
    GLProgFisheye& values = fisheye();
    values.m_scale = {Fraction(m_nW, imgW), Fraction(m_nH, imgH)};
    values.m_center = m_center;
    values.m_distort = {m_distortion, 1.0F};

    const uint32_t started = GetTickCount();
    const int result = UploadPlanes(inY, inUV, imgW, imgH) ? DrawTiles(out, imgW, imgH) : 0;
    DeinitBase();
    ReleaseTextures();
    LOG_INFO(gLog, "** fisheye %d ms", static_cast<int>(GetTickCount() - started));
    LOG_INFO(gLog, "[%s] leave", "ProcFrame");
    return result;
}
