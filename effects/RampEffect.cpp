#include "effects/RampEffect.h"

#include "engine/LookUpTexture.h"

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
    const auto& clip = m_look.clip;
    const auto& control = m_look.control;
    program.Uniform4f(kClip, clip[0], clip[1], clip[2], clip[3]);
    program.Uniform4f(kControl, control[0], control[1], control[2], control[3]);
}
