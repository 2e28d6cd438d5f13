#include "effects/RampEffect.h"

#include <array>
#include <utility>

#include "engine/DrawnTable.h"
#include "engine/LookUpTexture.h"
#include "engine/ShaderTexts.h"

namespace {

void SetGrading(GLProgram& program, const RampLook& look) {
    const auto& clip = look.clip;
    const auto& control = look.control;
    program.Uniform4f(kClip, clip[0], clip[1], clip[2], clip[3]);
    program.Uniform4f(kControl, control[0], control[1], control[2], control[3]);
}

constexpr unsigned kLevels = 256;

// The bent luma of each level. Slots: 0 the levels, 2 the contrast ramp.
constexpr char kGradingFragment[] = "precision highp float;\n" BENT_LUMA
                                    R"glsl(
  varying vec2 v_textureCoord;
  uniform sampler2D s_texture0;

  void main() {
    gl_FragColor = vec4(bent(texture2D(s_texture0, v_textureCoord).x));
  }
)glsl";

constexpr GLLocation kGradingLocations[] = {kVertexCoordRow, kTextureCoordRow, kInputRow,
                                            kContrastRow,    kClipRow,         kControlRow};
constexpr GLProgramTable kGradingTable = {PASS_THROUGH_VERTEX("v_textureCoord"), kGradingFragment,
                                          kGradingLocations, std::size(kGradingLocations), 3};

class GradingProgram : public GLTableProgram {
  public:
    GradingProgram(LogTag& log, const RampLook& look)
        : GLTableProgram(log, kGradingTable), m_look(look) {}
    bool Use() override {
        if (!GLTableProgram::Use()) return false;
        SetGrading(*this, m_look);
        return true;
    }

  private:
    const RampLook& m_look;
};

// The luma that the look gives each level of the source.
std::unique_ptr<GLTexture> DrawGrading(LogTag& log, const RampLook& look, GLTexture* contrast) {
    std::array<unsigned char, std::size_t{kLevels} * 4> pixels{};
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<unsigned char>(i / 4);
    GLTexture levels;
    if (!levels.Init(GL_RGBA, GL_UNSIGNED_BYTE, kLevels, 1, 0) ||
        !levels.UpdateNormalTexture(pixels.data(), kLevels, 1)) {
        return nullptr;
    }
    levels.SetSampling(GL_CLAMP_TO_EDGE, GL_NEAREST);
    GradingProgram program(log, look);
    program.SetTextures(kContrastSlot, contrast);
    return DrawTable(program, &levels, kLevels, 1);
}

}  // namespace

RampEffect::~RampEffect() {
    RampEffect::Deinit();
}

void RampEffect::StoreHints() {
    m_nHintW = 960;
    m_nHintH = 544;
}

GLTexture* RampEffect::LoadLook() {
    return LoadLookUp(m_look.file, m_look.format, LookUpPath::kSystemOnly);
}

int RampEffect::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                     unsigned int w, unsigned int h, unsigned char bCapture, IYUVConverter* cb) {
    if (m_look.title != nullptr) LogBanner(m_look.title);
    StoreInitArguments(src, out, x, y, w, h, bCapture, 0, 0);
    StoreHints();
    if (!InitBase(cb) || !InitProgram()) return 0;
    m_lookTexture.reset(LoadLook());
    if (m_lookTexture == nullptr) {
        LOG_ERROR(log(), "[%s] %s", "Init", m_look.fileFailed);
        return 0;
    }
    m_contrast.reset(LoadLookUp("stylizeContrastRamp.bmp", GL_RGB, LookUpPath::kSystemOnly));
    if (m_contrast == nullptr) {
        LOG_ERROR(log(), "[%s] %s", "Init", m_look.contrastFailed);
        return 0;
    }
    if (drawsForSoftware() && !UseTables()) return 0;
    program()->SetTextures(kLookSlot, m_lookTexture.get());
    program()->SetTextures(kContrastSlot, m_contrast.get());
    if (m_look.logsScreenRatio) {
        m_fScreenRatio = static_cast<float>(src->m_nWidth) / static_cast<float>(src->m_nHeight);
        LOG_INFO(log(), "[%s] screen ratio = %u/%u = %f", "Init", src->m_nWidth, src->m_nHeight,
                 static_cast<double>(m_fScreenRatio));
    }
    InitTexCoord();
    return FinishInit();
}

// Puts tables in the look-up textures' places.
bool RampEffect::UseTables() {
    m_contrast = DrawGrading(log(), m_look, m_contrast.get());
    if (m_look.isCurve) {
        m_lookTexture = DrawCurveTable(log(), m_lookTexture.get(), m_look.control[2]);
    }
    return m_contrast != nullptr && m_lookTexture != nullptr;
}

void RampEffect::ReleaseTextures() {
    m_lookTexture.reset();
    m_contrast.reset();
}

int RampEffect::SetParam(unsigned int index, int a, int, int, int) {
    if (!m_bInit) {
        LOG_ERROR(log(), "[%s] effect not initialized", "SetParam");
        return 0;
    }
    if (index == 0) m_fStrength = (100.0F - static_cast<float>(a)) * 0.37F / 100.0F + 0.03F;
    return 1;
}

void RampEffect::SetUniforms(GLProgram& program) {
    SetGrading(program, m_look);
}
