#include "effects/BlurEffect.h"

#include <algorithm>

#include "effects/SizeUpTexts.h"
#include "engine/CommonLocations.h"
#include "engine/ShaderTexts.h"
#include "gl/Log.h"
#include "gl/RendererKind.h"

namespace {

constexpr char kVertex[] = PASS_THROUGH_VERTEX("v_textureCoord");

// The weights are taken in the order of the shifts, and these have +-6 and +-7 last: so the peak
// lies two steps to the right and below, and every blur draws the picture that much to the left and
// up. The looks are tuned to it.
constexpr char kFragment[] = R"glsl(
  precision highp float;
  varying vec2 v_textureCoord;
  uniform sampler2D s_texture0;
  uniform float u_fGaussian[15];
  uniform vec2 u_fPixelShift[14];

  vec4 neighbour(int i) {
    return texture2D(s_texture0, v_textureCoord + u_fPixelShift[i]);
  }

  void main() {
    vec4 sum = u_fGaussian[5] * texture2D(s_texture0, v_textureCoord);
    for (int i = 0; i < 5; ++i) sum += u_fGaussian[i] * neighbour(i);
    for (int i = 5; i < 14; ++i) sum += u_fGaussian[i + 1] * neighbour(i);
    gl_FragColor = sum;
  }
)glsl";

constexpr float kShiftOrder[] = {-5, -4, -3, -2, -1, 1, 2, 3, 4, 5, -6, -7, 6, 7};

enum BlurUniform : unsigned { kKernel, kPixelShift };

constexpr GLLocation kLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    kInputRow,
    {GLLocation::kUniform, "u_fGaussian", kKernel, "m_nUniformLoc[UNIFORM_GAUSSIAN_KERNEL]",
     "UNIFORM_GAUSSIAN_KERNEL"},
    {GLLocation::kUniform, "u_fPixelShift", kPixelShift, "m_nUniformLoc[UNIFORM_PIXEL_SHIFT]",
     "UNIFORM_PIXEL_SHIFT"},
};
constexpr GLProgramTable kTable = {kVertex, kFragment, kLocations, std::size(kLocations), 1};

constexpr int kHintWidth = 960;
constexpr int kHintHeight = 544;

}  // namespace

GLProgBlur::GLProgBlur(LogTag& log) : GLTableProgram(log, kTable) {}

BlurEffect::~BlurEffect() {
    if (m_bHoldsObjects) BlurEffect::Deinit();
}

bool BlurEffect::InitTarget(const char* name, std::unique_ptr<GLTexture>* texture) {
    LOG_INFO(m_traits.log, "[%s] Creating tex for fbo pass %s", "Init", name);
    *texture = std::make_unique<GLTexture>();
    if (!(*texture)->Init(GL_RGBA, GL_UNSIGNED_BYTE, m_uBlurW, m_uBlurH, 0)) return false;
    (*texture)->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
    return true;
}

int BlurEffect::InitBlur(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                         unsigned int w, unsigned int h, unsigned char bCapture,
                         IYUVConverter* cb) {
    LogTag& log = m_traits.log;
    LOG_INFO(log, "[%s] x=%d y=%d w=%d h=%d  cap=%d", "Init", static_cast<int>(x),
             static_cast<int>(y), static_cast<int>(w), static_cast<int>(h), bCapture);
    StoreInitArguments(src, out, x, y, w, h, bCapture, kHintWidth, kHintHeight);
    // The smallest frames still have a target to blur in.
    m_uBlurW = std::max(1U, w * m_traits.widthPart / m_traits.widthWhole);
    m_uBlurH = std::max(1U, h * m_traits.heightPart / m_traits.heightWhole);
    m_bHoldsObjects = true;
    m_bSoftware = DrawsForSoftware();
    if (!GEShader::Init(src, out, x, y, w, h, bCapture, cb)) return 0;
    src->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);

    if (!InitTarget("KOp H", &m_pTexKOpH) || !InitTarget("KOp V", &m_pTexKOpV)) return 0;
    const struct {
        const char* name;
        std::unique_ptr<GLFbo>& fbo;
        GLTexture* target;
    } fbos[] = {{"KOp H", m_pFboKOpH, m_pTexKOpH.get()}, {"KOp V", m_pFboKOpV, m_pTexKOpV.get()}};
    for (const auto& row : fbos) {
        LOG_INFO(log, "[%s] Creating fbo pass %s", "Init", row.name);
        row.fbo = std::make_unique<GLFbo>();
        if (!row.fbo->Init() || !row.fbo->SetColorAttachment(row.target)) return 0;
    }

    LOG_INFO(log, "[%s] Creating prog Blur", "Init");
    m_pBlurProg.reset(CreateBlurProgram());
    if (!m_pBlurProg->Load()) {
        LOG_ERROR(log, "[%s] can't load program Blur", "Init");
        return 0;
    }
    m_pBlurProg->SetTextures(0, src);

    const bool large = m_bCapture && m_traits.largeSizeUp;
    LOG_INFO(log, "[%s] Creating prog pass size-up%s", "Init", large ? " large" : "");
    m_pSizeUpProg.reset(CreateSizeUpProgram());
    if (m_pSizeUpProg == nullptr) {
        LOG_ERROR(log, "[%s] can't new program size-up", "Init");
        return 0;
    }
    if (!m_pSizeUpProg->Load()) {
        LOG_ERROR(log, "[%s] can't load program size-up", "Init");
        return 0;
    }
    m_pSizeUpProg->SetTextures(kBlurSampler, m_pTexKOpV.get());
    m_pSizeUpProg->SetTextures(kClearSampler, src);
    SetPixelStepForPreview();
    m_pfGaussian = &SelectBlurKernel(kWidestBlur);
    return 1;
}

int BlurEffect::FinishInit() {
    m_bInit = true;
    LOG_INFO(m_traits.log, "[%s] leave", "Init");
    return 1;
}

int BlurEffect::Deinit() {
    LOG_INFO(m_traits.log, "[%s] enter", "Deinit");
    m_bInit = false;
    m_pBlurProg.reset();
    m_pSizeUpProg.reset();
    m_pFboKOpH.reset();
    m_pFboKOpV.reset();
    m_pTexKOpH.reset();
    m_pTexKOpV.reset();
    GEShader::Deinit();
    m_bHoldsObjects = false;
    LOG_INFO(m_traits.log, "[%s] leave", "Deinit");
    return 1;
}

void BlurEffect::SetupPixelStep(float stepX, float stepY) {
    if (m_traits.followsCrop) stepX *= m_crop.w;
    for (std::size_t i = 0; i < kNeighbours; ++i) {
        m_afPixelShiftX[2 * i] = kShiftOrder[i] * stepX;
        m_afPixelShiftY[2 * i + 1] = kShiftOrder[i] * stepY;
    }
    LOG_INFO(m_traits.log, "[%s] pixel step X=%.6f Y=%.6f", "SetupPixelStep",
             static_cast<double>(stepX), static_cast<double>(stepY));
}

void BlurEffect::SetPixelStepForPreview() {
    SetupPixelStep(m_traits.step / static_cast<float>(m_pSrcTexture->m_nWidth),
                   m_traits.step / static_cast<float>(m_pSrcTexture->m_nHeight));
}

int BlurEffect::SetCrop(float x, float y, float w, float h) {
    if (!m_traits.followsCrop || !m_bInit) return GEShader::SetCrop(x, y, w, h);
    SetPixelStepForPreview();
    GEShader::SetCrop(x, y, w, h);
    const float shown =
        static_cast<float>(m_pSrcTexture->m_nWidth) / static_cast<float>(m_pSrcTexture->m_nStride);
    previewQuad() = MakeQuadCoords(m_crop.x * shown, m_crop.y, (m_crop.x + m_crop.w) * shown,
                                   m_crop.y + m_crop.h);
    return 0;
}

int BlurEffect::SetCrop(int, int, int, int) {
    return 1;
}

bool BlurEffect::DrawBlurPass(GLFbo& target, GLTexture* input, const PixelShift& shift,
                              const QuadCoords& coords) {
    target.Bind();
    glViewport(m_nX, m_nY, static_cast<GLsizei>(m_uBlurW), static_cast<GLsizei>(m_uBlurH));
    m_pBlurProg->SetTextures(0, input);
    if (!m_pBlurProg->Use()) return false;
    m_pBlurProg->Uniform1fv(kKernel, kBlurTaps, m_pfGaussian->data());
    m_pBlurProg->Uniform2fv(kPixelShift, kNeighbours, shift.data());
    m_pBlurProg->SetVertexCoord(kQuadPositionSize, kQuadPositions.data());
    m_pBlurProg->SetTextureCoord(kQuadCoordSize, coords.data());
    m_pBlurProg->Draw();
    return true;
}

int BlurEffect::ProcBlock(unsigned int, unsigned int, int, int) {
    if (!ReadyToDraw(m_traits.log)) return 0;
    if (!DrawBlurPass(*m_pFboKOpH, m_pSrcTexture, m_afPixelShiftX, m_blurInputCoord) ||
        !DrawBlurPass(*m_pFboKOpV, m_pTexKOpH.get(), m_afPixelShiftY, m_blurOutputCoord)) {
        return 0;
    }

    m_pFboRGB->Bind();
    glViewport(m_nX, m_nY, m_nW, m_nH);
    // Software renderers are quicker where they need not filter, and centres come out the same.
    const bool unfiltered = m_bSoftware && ShowsWholeFrame();
    if (unfiltered) m_pSrcTexture->SetSampling(GL_CLAMP_TO_EDGE, GL_NEAREST);
    const bool drawn = DrawSizeUpPass();
    if (unfiltered) m_pSrcTexture->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
    if (!drawn) return 0;
    FinishPicture();
    return 1;
}

bool BlurEffect::DrawSizeUpPass() {
    if (!m_pSizeUpProg->Use()) return false;
    SetSizeUpUniforms(*m_pSizeUpProg);
    m_pSizeUpProg->SetVertexCoord(kQuadPositionSize, kQuadPositions.data());
    m_pSizeUpProg->SetTextureCoord(kQuadCoordSize, m_texCoord.data());
    m_pSizeUpProg->VertexAttribPointer(kBlurCoord, kQuadCoordSize, m_blurredCoord.data());
    if (m_bCapture && m_traits.largeSizeUp) {
        m_pSizeUpProg->VertexAttribPointer(kGlobalCoord, kQuadCoordSize, m_globalCoord.data());
    }
    m_pSizeUpProg->Draw();
    return true;
}

// Whether each pixel is drawn from the centre of one of the source's.
bool BlurEffect::ShowsWholeFrame() const {
    const float shown = static_cast<float>(m_nW) / static_cast<float>(m_pSrcTexture->m_nStride);
    return !m_bCapture && m_texCoord == MakeQuadCoords(0.0F, 0.0F, shown, 1.0F);
}

int BlurEffect::ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) {
    if (!m_bInit) {
        LOG_ERROR(m_traits.log, "[%s] effect not initialized", "ProcFrame");
        return 0;
    }
    m_texCoord = m_blurInputCoord = previewQuad();
    m_blurOutputCoord = m_blurredCoord = kQuadCoords;
    return ProcBlock(srcTex, dstTex, w, h);
}

void BlurEffect::BeginBlock(const CaptureBlock& block) {
    m_blurInputCoord = block.reduceQuad;
    m_blurOutputCoord = block.reducedQuad;
    m_blurredCoord = kQuadCoords;
    SetupPixelStep(m_captureStepX, m_captureStepY);
}

int BlurEffect::ProcFrame(unsigned char*, unsigned char* out, int imgW, int imgH) {
    LogTag& log = m_traits.log;
    if (!ReadyForCapture(log)) return 0;
    m_nOverlapX = m_nOverlapY = 0;  // blocks bring margins of their own
    BeginCapture(imgW, imgH);
    const CaptureGeometry geometry = captureGeometry(imgW, imgH);
    const auto width = static_cast<float>(geometry.textureStride);
    const auto height = static_cast<float>(geometry.blockHeight);
    m_captureStepX = m_traits.step / width * (static_cast<float>(imgW) / width);
    m_captureStepY = m_traits.step / height * (static_cast<float>(imgH) / height);
    const MarginPlan plan(geometry, m_crop, m_traits.margin);
    LOG_INFO(log, "[%s] fImgWidth=%d, fImgHeight=%d, nProcW=%d, nProcH=%d, max run = %d",
             "ProcFrame", imgW, imgH, geometry.textureStride, geometry.blockHeight,
             plan.blockCount());
    const int result = RunBlocks(log, plan, out, imgW, imgH, kTraceRuns,
                                 [this](const CaptureBlock& block) { BeginBlock(block); });
    SetupPixelStep(m_traits.step / width, m_traits.step / height);
    return result;
}
