#include "effects/Whiteboard.h"

#include "engine/CommonLocations.h"
#include "engine/DrawnTable.h"
#include "engine/LookUpTexture.h"

namespace {

LogTag gLog("GEShaderWhiteboard");

// The four diagonal neighbours' places are the same for a whole pass, so they are found here.
constexpr char kVertex[] = R"glsl(
  attribute vec4 a_vertexCoord;
  attribute vec2 a_textureCoord;
  uniform vec2 g_vTexelSize;
  varying vec2 g_vTexCoord;
  varying vec4 g_vTexCoords0;
  varying vec4 g_vTexCoords1;

  void main() {
    gl_Position = a_vertexCoord;
    vec2 t = a_textureCoord;
    vec2 d = g_vTexelSize;
    g_vTexCoord = t;
    g_vTexCoords0 = vec4(t.x + d.x, t.y + d.y, t.x + d.x, t.y - d.y);
    g_vTexCoords1 = vec4(t.x - d.x, t.y - d.y, t.x - d.x, t.y + d.y);
  }
)glsl";

constexpr char kFragment[] = "precision highp float;\n" ON_CURVE R"glsl(
  // Sharpened luma, RGB, a contrast curve, bright parts lifted to just below white.
  varying vec2 g_vTexCoord;
  varying vec4 g_vTexCoords0;
  varying vec4 g_vTexCoords1;
  uniform sampler2D g_sImageTexture;
  uniform sampler2D g_sLUTTexture;
  uniform float g_fController;

  // A channel below 0 has no power; 0 is what it means.
  float curved(float channel) {
    return onCurve(g_sLUTTexture, pow(max(channel, 0.0), 0.7), 0.5).z;
  }

  void main() {
    vec3 m = texture2D(g_sImageTexture, g_vTexCoord).xyz;
    float around = texture2D(g_sImageTexture, g_vTexCoords0.xy).x +
        texture2D(g_sImageTexture, g_vTexCoords0.zw).x +
        texture2D(g_sImageTexture, g_vTexCoords1.xy).x +
        texture2D(g_sImageTexture, g_vTexCoords1.zw).x;
    float luma = 1.3 * m.x - 0.075 * around;
    vec3 ds = vec3(luma) + vec3(0.0, -0.344, 1.772) * (m.z - 0.5) +
        vec3(1.402, -0.714, 0.0) * (m.y - 0.5);
    vec3 rgb = vec3(curved(ds.r), curved(ds.g), curved(ds.b));
    float whiteness = dot(vec3(0.299, 0.587, 0.114), rgb);
    vec3 whitened = min(rgb * (1.0 + 0.3 * max(whiteness - 0.2, 0.0)), vec3(0.96, 0.965, 0.95));
    gl_FragColor = vec4(mix(rgb, whitened, g_fController), 1.0);
  }
)glsl";

constexpr unsigned kCurveSlot = 1;
// The crop has a place among the uniforms that the program does not look up.
enum Uniform : unsigned { kTexelSize, kController, kCrop };

constexpr GLLocation kLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    {GLLocation::kSampler, "g_sImageTexture", 0, "m_nSamplerLoc[SAMPLER_INPUT_TEX]",
     "SAMPLER_INPUT_TEX"},
    {GLLocation::kSampler, "g_sLUTTexture", kCurveSlot, "m_nSamplerLoc[SAMPLER_CURVE]",
     "SAMPLER_CURVE"},
    {GLLocation::kUniform, "g_vTexelSize", kTexelSize, "m_pnUniLoc[UNIFORM_LOC_TEXELSIZE]",
     "UNIFORM_LOC_TEXELSIZE"},
    {GLLocation::kUniform, "g_fController", kController, "m_pnUniLoc[UNIFORM_LOC_CONTROLLER]",
     "UNIFORM_LOC_CONTROLLER"},
};
constexpr GLProgramTable kTable = {kVertex, kFragment, kLocations, std::size(kLocations), 2};

constexpr SinglePassTraits kTraits = {
    gLog, "Whiteboard shader", "Whiteboard shader", nullptr, "program whiteboard", false, true};

constexpr int kHintWidth = 960;
constexpr int kHintHeight = 544;

}  // namespace

GLProgWhiteboard::GLProgWhiteboard() : GLTableProgram(gLog, kTable) {}

GEShaderWhiteboard::GEShaderWhiteboard() : SinglePassEffect(kTraits) {}

GEShaderWhiteboard::~GEShaderWhiteboard() {
    GEShaderWhiteboard::Deinit();
}

GLProgram* GEShaderWhiteboard::CreateProgram() const {
    return new GLProgWhiteboard;
}

int GEShaderWhiteboard::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                             unsigned int w, unsigned int h, unsigned char bCapture,
                             IYUVConverter* cb) {
    LogBanner("GEShaderWhiteboard::Init");
    LOG_INFO(gLog, "[%s] x=%d y=%d w=%d h=%d  cap=%d", "Init", static_cast<int>(x),
             static_cast<int>(y), static_cast<int>(w), static_cast<int>(h), bCapture);
    StoreInitArguments(src, out, x, y, w, h, bCapture, kHintWidth, kHintHeight);
    if (!InitBase(cb)) return 0;
    LOG_INFO(gLog, "[%s] Creating cross curve texture", "Init");
    m_curve.reset(LoadLookUp("ContrastCurveSet.bmp", GL_RGB, LookUpPath::kOwnCopyFirst));
    if (m_curve == nullptr) {
        LOG_ERROR(gLog, "[%s] can't load contrast curve tex", "Init");
        return 0;
    }
    if (!InitProgram()) return 0;
    if (drawsForSoftware()) m_curve = DrawCurveTable(gLog, m_curve.get(), 0.5F);
    if (m_curve == nullptr) return 0;
    program()->SetTextures(kCurveSlot, m_curve.get());
    InitPartialTexCoord();
    return FinishInit();
}

// The neighbours' centres too, where a pixel of the picture is a pixel of the texture.
bool GEShaderWhiteboard::ReadsPixelCentres() const {
    return m_texCoord == kQuadCoords && m_nW == static_cast<int>(m_pSrcTexture->m_nStride) &&
           m_nH == static_cast<int>(m_pSrcTexture->m_nHeight);
}

void GEShaderWhiteboard::ReleaseTextures() {
    m_curve.reset();
}

int GEShaderWhiteboard::ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) {
    if (m_bInit && !m_bCapture) {
        const float shown = static_cast<float>(m_nW) / static_cast<float>(m_pSrcTexture->m_nStride);
        m_texCoord =
            MakeQuadCoords(m_crop.x, m_crop.y, m_crop.x + m_crop.w * shown, m_crop.y + m_crop.h);
    }
    return SinglePassEffect::ProcFrame(srcTex, dstTex, w, h);
}

int GEShaderWhiteboard::SetParam(unsigned int, int, int, int, int) {
    if (!m_bInit) LOG_ERROR(gLog, "[%s] effect not initialized", "SetParam");
    return 0;
}

void GEShaderWhiteboard::SetUniforms(GLProgram& program) {
    m_fController = 0.6F;
    program.Uniform4f(kCrop, m_crop.x, m_crop.y, m_crop.w, m_crop.h);
    program.Uniform1f(kController, m_fController);
    program.Uniform2f(kTexelSize, 1.0F / static_cast<float>(m_nW), 1.0F / static_cast<float>(m_nH));
}

std::unique_ptr<BlockPlan> GEShaderWhiteboard::MakePlan(const CaptureGeometry& geometry) const {
    return std::make_unique<CroppedPlan>(geometry, m_crop);
}
