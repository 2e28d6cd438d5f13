#include "effects/Stylize.h"

#include "engine/DrawnTable.h"

namespace {

LogTag gNashLog("GEShaderStylizeNash");
LogTag gMapleLog("GEShaderStylizeMaple");

constexpr char kVertex[] = RAMP_VERTEX;

constexpr char kFragment[] = "precision highp float;\n" ON_CURVE GRADED_LUMA
                             R"glsl(
  // Graded luma to RGB, each channel through one row of the colour ramp. The ramp's files store blue,
  // green, red, so red is read from blue. The tint is laid over with the sum of two zeros.
  varying vec2 g_vTexCoord;
  uniform sampler2D g_sImageTexture;
  uniform sampler2D g_sLUTTexture;
  uniform vec4 g_fvTintColor;
  uniform mat4 u_mat_yuv2rgb;

  void main() {
    vec4 src = texture2D(g_sImageTexture, g_vTexCoord);
    src.x = gradedLuma(src.x);
    vec4 rgb = u_mat_yuv2rgb * src;
    vec4 style = vec4(onCurve(g_sLUTTexture, rgb.r, g_fvController.z).z,
                      onCurve(g_sLUTTexture, rgb.g, g_fvController.z).y,
                      onCurve(g_sLUTTexture, rgb.b, g_fvController.z).x, 1.0);
    float blend = g_fvTintColor.w + g_fvController.w;
    gl_FragColor = g_fvTintColor * blend + style * (1.0 - blend);
  }
)glsl";

constexpr int kTint = 2;

constexpr GLLocation kLocations[] = {
    kRampVertexRow,
    kTextureCoordRow,
    kRampInputRow,
    {GLLocation::kSampler, "g_sLUTTexture", kLookSlot, "m_nSamplerLoc[SAMPLER_TEX_LUT]",
     "SAMPLER_TEX_LUT"},
    kContrastRow,
    kClipRow,
    kControlRow,
    {GLLocation::kUniform, "g_fvTintColor", kTint, "m_pnUniLoc[UNIFORM_TINT]", "UNIFORM_TINT"},
    kColorMatrixRow,
};
constexpr GLProgramTable kTable = {kVertex, kFragment, kLocations, std::size(kLocations), 3};

// Maple's creation lines have always named Nash.
constexpr SinglePassTraits kNashTraits = {gNashLog, "stylizeNash shader",
                                          "stylizeNash large shader", nullptr, "program"};
constexpr SinglePassTraits kMapleTraits = {
    gMapleLog, "stylizeNash shader", "stylizeNash large shader", "f", "program", true};

constexpr const char* kRampFile = "stylizeColorRamp.bmp";
constexpr const char* kRampFailed = "\t\tcan't load LUT tex";
constexpr const char* kContrastFailed = "\t\tcan't load contrast tex";

// Black is lifted.
constexpr RampLook kNash = {"GEShaderStylizeNash::Init",
                            kRampFile,
                            GL_RGB,
                            kRampFailed,
                            kContrastFailed,
                            {0.0F, 1.0F, 0.117F, 1.0F},
                            {0.6F, 0.6F, 0.9F, 0.0F},
                            false,
                            true};
// Black is lifted a little less, and bright parts clip to white.
constexpr RampLook kMaple = {"GEShaderStylizeMaple::Init",
                             kRampFile,
                             GL_RGB,
                             kRampFailed,
                             kContrastFailed,
                             {0.0F, 0.859F, 0.0976F, 1.0F},
                             {0.6F, 0.5F, 0.5F, 0.0F},
                             true,
                             true};

}  // namespace

GLProgStylizeNash::GLProgStylizeNash() : GLTableProgram(gNashLog, kTable) {}

GLProgStylizeMaple::GLProgStylizeMaple() : GLTableProgram(gMapleLog, kTable) {}

GEShaderStylizeNash::GEShaderStylizeNash() : RampEffect(kNashTraits, kNash) {}

GLProgram* GEShaderStylizeNash::CreateProgram() const {
    return new GLProgStylizeNash;
}

void GEShaderStylizeNash::SetUniforms(GLProgram& program) {
    RampEffect::SetUniforms(program);
    program.Uniform4f(kTint, 0.973F, 0.871F, 0.75F, 0.0F);
}

int GEShaderStylizeNash::SetCrop(float x, float y, float w, float h) {
    RampEffect::SetCrop(x, y, w, h);
    if (!m_bInit) return 0;
    const float shown =
        static_cast<float>(m_pSrcTexture->m_nWidth) / static_cast<float>(m_pSrcTexture->m_nStride);
    m_texCoord = MakeQuadCoords(x * shown, y, (x + w) * shown, y + h);
    return 0;
}

std::unique_ptr<BlockPlan> GEShaderStylizeNash::MakePlan(const CaptureGeometry& geometry) const {
    return std::make_unique<CroppedPlan>(geometry, m_crop);
}

GEShaderStylizeMaple::GEShaderStylizeMaple() : RampEffect(kMapleTraits, kMaple) {}

GLProgram* GEShaderStylizeMaple::CreateProgram() const {
    return new GLProgStylizeMaple;
}

void GEShaderStylizeMaple::SetUniforms(GLProgram& program) {
    RampEffect::SetUniforms(program);
    program.Uniform4f(kTint, 1.0F, 1.0F, 1.0F, 0.0F);
}
