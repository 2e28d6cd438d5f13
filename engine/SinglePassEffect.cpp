#include "engine/SinglePassEffect.h"

#include "gl/GLFbo.h"
#include "gl/GLProgram.h"
#include "gl/GLTexture.h"
#include "gl/Log.h"
#include "gl/RendererKind.h"

// Subclasses with textures have run Deinit already.
SinglePassEffect::~SinglePassEffect() {
    if (m_bHoldsObjects) SinglePassEffect::Deinit();
}

int SinglePassEffect::InitBase(IYUVConverter* cb) {
    m_bHoldsObjects = true;
    return GEShader::Init(m_pSrcTexture, m_nOutput, static_cast<unsigned>(m_nX),
                          static_cast<unsigned>(m_nY), static_cast<unsigned>(m_nW),
                          static_cast<unsigned>(m_nH), m_bCapture ? 1 : 0, cb);
}

int SinglePassEffect::InitProgram(const char* operation) {
    const char* creating = m_bCapture ? m_traits.creatingCapture : m_traits.creatingPreview;
    if (creating != nullptr) LOG_INFO(log(), "[%s] Creating %s", operation, creating);
    m_bSoftware = DrawsForSoftware();
    delete m_pProgram;
    m_pProgram = nullptr;
    m_pProgram = CreateProgram();
    if (!m_pProgram->Load()) {
        LOG_ERROR(log(), "[%s] can't load %s", operation, m_traits.programName);
        return 0;
    }
    m_pProgram->SetTextures(0, m_pSrcTexture);
    return 1;
}

void SinglePassEffect::InitPartialTexCoord() {
    m_texCoord = PartialTexCoord(log());
}

void SinglePassEffect::LogBanner(const char* title) const {
    LOG_INFO(log(), "[%s] enter", "Init");
    LOG_INFO(log(), "[%s] ------------------------------------------------------", "Init");
    LOG_INFO(log(), "[%s] %s", "Init", title);
    LOG_INFO(log(), "[%s] ------------------------------------------------------", "Init");
}

int SinglePassEffect::FinishInit() {
    m_bInit = true;
    LOG_INFO(log(), "[%s] leave", "Init");
    return 1;
}

int SinglePassEffect::Deinit() {
    LOG_INFO(log(), "[%s] enter", "Deinit");
    m_bInit = false;
    GEShader::Deinit();
    delete m_pProgram;
    m_pProgram = nullptr;
    // From a destructor this is the class being destroyed, which is the one that has textures.
    ReleaseTextures();  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
    m_bHoldsObjects = false;
    LOG_INFO(log(), "[%s] leave", "Deinit");
    return 1;
}

int SinglePassEffect::ProcBlock(unsigned int, unsigned int, int, int) {
    if (!ReadyToDraw(log())) return 0;
    m_pFboRGB->Bind();
    glViewport(m_nX, m_nY, m_nW, m_nH);
    if (!m_pProgram->Use()) return 0;
    SetUniforms(*m_pProgram);
    m_pProgram->SetVertexCoord(kQuadPositionSize, kQuadPositions.data());
    m_pProgram->SetTextureCoord(kQuadCoordSize, m_texCoord.data());
    if (m_bCapture && UsesGlobalCoord()) {
        m_pProgram->VertexAttribPointer(0, kQuadCoordSize, m_globalCoord.data());
    }
    Draw();
    FinishPicture();
    return 1;
}

// Software renderers are quicker where they need not filter, and centres come out the same.
void SinglePassEffect::Draw() {
    const bool showsAll =
        m_crop.x == 0.0F && m_crop.y == 0.0F && m_crop.w == 1.0F && m_crop.h == 1.0F;
    if (!m_bSoftware || !showsAll || !ReadsPixelCentres()) {
        m_pProgram->Draw();
        return;
    }
    m_pSrcTexture->SetSampling(GL_CLAMP_TO_EDGE, GL_NEAREST);
    m_pProgram->Draw();
    m_pSrcTexture->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
}

int SinglePassEffect::ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) {
    if (!m_bInit || m_pProgram == nullptr) {
        LOG_ERROR(log(), "[%s] effect not initialized", "ProcFrame");
        return 0;
    }
    if (m_bCapture) {
        LOG_ERROR(log(), "[%s] Preview mode only", "ProcFrame");
        return 0;
    }
    ProcBlock(srcTex, dstTex, w, h);
    return 1;
}

std::unique_ptr<BlockPlan> SinglePassEffect::MakePlan(const CaptureGeometry& geometry) const {
    return std::make_unique<RunCountingPlan>(geometry);
}

int SinglePassEffect::ProcFrame(unsigned char*, unsigned char* out, int imgW, int imgH) {
    if (m_traits.tracesEntry) LOG_INFO(log(), "[%s] enter", "ProcFrame");
    if (!ReadyForCapture(log())) return 0;
    BeginCapture(imgW, imgH);
    const CaptureGeometry geometry = captureGeometry(imgW, imgH);
    const std::unique_ptr<BlockPlan> plan = MakePlan(geometry);
    if (const char* prefix = m_traits.sizeLinePrefix) {
        LOG_INFO(log(), "[%s] %sImgWidth=%d, %sImgHeight=%d, nProcW=%d, nProcH=%d, max run = %d",
                 "ProcFrame", prefix, imgW, prefix, imgH, geometry.blockWidth, geometry.blockHeight,
                 plan->blockCount());
    }
    BlockTrace trace = kTraceNothing;
    if (m_traits.sizeLinePrefix != nullptr) {
        trace = m_traits.tracesPlaces ? kTraceRunsAndPlaces : kTraceRuns;
    }
    return RunBlocks(log(), *plan, out, imgW, imgH, trace);
}

int SinglePassEffect::SetCrop(int, int, int, int) {
    return 1;
}
