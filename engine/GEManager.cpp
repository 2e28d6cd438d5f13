#include "engine/GEManager.h"

#include <posteffect/EffectCatalog.h>

#include "engine/DisplaySize.h"
#include "engine/EffectTable.h"
#include "engine/GEShader.h"
#include "engine/ManagerLog.h"
#include "gl/GECommon.h"
#include "gl/GLFbo.h"
#include "gl/GLTexture.h"

LogTag gManagerLog("GEManager");

namespace {

constexpr unsigned kEffectCount = static_cast<unsigned>(posteffect::kEffectCount);
constexpr unsigned kDropEffect = 99;
constexpr unsigned kAveragedFrames = 50;
constexpr uint32_t kFPSPeriod = 2001;  // ms

// Statistics of this worker's preview.
thread_local unsigned gFPSFrames = 0;
thread_local uint32_t gFPSTimeBase = 0;
thread_local uint32_t gFrameTimeSum = 0;  // ms
thread_local unsigned gFrameTimeCount = 0;

void LogLine(const char* operation, const char* text) {
    LOG_INFO(gManagerLog, "[%s] %s", operation, text);
}

template <typename T>
void DeleteLogged(const char* name, T*& pointer) {
    if (pointer == nullptr) return;
    LOG_INFO(gManagerLog, "[%s] delete %s", "Deinit", name);
    delete pointer;
    pointer = nullptr;
}

// Unsigned 32-bit arithmetic throughout: points left of or above the viewport wrap, and a display
// of no size maps everything to 0.
int MapCoordinate(int coordinate, int origin, int extent, int display) {
    if (display == 0) return 0;
    const uint32_t offset = static_cast<uint32_t>(coordinate) - static_cast<uint32_t>(origin);
    return static_cast<int>(offset * static_cast<uint32_t>(extent) /
                            static_cast<uint32_t>(display));
}

}  // namespace

int GEManager::Init(ANativeWindowBuffer* buffer, unsigned int, unsigned int, unsigned int,
                    unsigned int x, unsigned int y, unsigned int w, unsigned int h,
                    IYUVConverter* cb) {
    constexpr const char* kName = "Init";
    constexpr const char* kRule = "======================================================";
    LogLine(kName, "enter");
    LogLine(kName, kRule);
    LogLine(kName, "GEManager::Init");
    LogLine(kName, kRule);
    // What an earlier Init made goes first: after a failed choice of effect each frame comes here.
    if (m_pSrcTexture != nullptr) Deinit();
    if (!EnsureCurrent()) {
        LOG_ERROR(gManagerLog, "[%s] EGL not inited", kName);
        return 0;
    }
    m_nX = static_cast<int>(x);
    m_nY = static_cast<int>(y);
    m_nW = static_cast<int>(w);
    m_nH = static_cast<int>(h);
    gFPSFrames = 0;
    ReadDisplaySize();
    LOG_INFO(gManagerLog, "[%s] g_Disp_Width=%d, g_Disp_Height=%d", kName, g_Disp_Width,
             g_Disp_Height);
    m_nDispWidth = g_Disp_Width;
    m_nDispHeight = g_Disp_Height;
    m_pConverter = cb;

    LOG_INFO(gManagerLog, "[%s] New GLTexture for input frame native addr %u, w=%d, h=%d", kName,
             AddressForLog(buffer), m_nW, m_nH);
    m_pSrcTexture = new GLTexture;
    if (!m_pSrcTexture->Init(buffer, GL_RGBA, GL_UNSIGNED_BYTE, w, h)) {
        LOG_ERROR(gManagerLog, "[%s] can't init m_pSrcTexture", kName);
        return 0;
    }
    m_pSrcTexture->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);
    LOG_INFO(gManagerLog, "[%s] glViewport x=%d y=%d w=%d h=%d", kName, m_nX, m_nY, m_nW, m_nH);
    glViewport(m_nX, m_nY, m_nW, m_nH);
    m_bInit = true;
    LogLine(kName, "leave");
    return 1;
}

int GEManager::Deinit() {
    LogLine("Deinit", "enter");
    m_bInit = false;
    m_nLastEffect = -1;
    DeleteLogged("m_pCurrShader", m_pCurrShader);
    DeleteLogged("m_pShaderBypass", m_pShaderBypass);
    DeleteLogged("m_pSrcTexture", m_pSrcTexture);
    DeleteLogged("m_pDstFbo", m_pDstFbo);
    LogLine("Deinit", "leave");
    return 1;
}

int GEManager::ChooseEffect(unsigned int number, unsigned char bCapture) {
    constexpr const char* kName = "ChooseEffect";
    LogLine(kName, "enter");
    const uint32_t started = GetTickCount();
    if (!m_bInit) {
        LOG_ERROR(gManagerLog, "[%s] not inited\n", kName);
        return 0;
    }
    if (number >= kEffectCount && number != kDropEffect) {
        LOG_ERROR(gManagerLog, "[%s] index %u should less than %u\n", kName, number, kEffectCount);
        return 0;
    }
    delete m_pCurrShader;
    m_pCurrShader = nullptr;
    const uint32_t deleted = GetTickCount();
    m_bCapture = bCapture != 0;
    LOG_INFO(gManagerLog, "[%s] effect=%u, capture mode=%d", kName, number, m_bCapture);
    if (number == 0 || number == kDropEffect) {
        LOG_ERROR(gManagerLog, "[%s] wrong index %d\n", kName, static_cast<int>(number));
        return 0;
    }
    m_pCurrShader = CreateEffect(number);
    if (m_pCurrShader == nullptr) {
        LOG_ERROR(gManagerLog, "[%s] can't create effect\n", kName);
        return 0;
    }
    if (number == posteffect::kEffectMirror) m_pCurrShader->SetLandscape(m_bLandscaped);
    if (!m_pCurrShader->Init(m_pSrcTexture, m_nOutput, static_cast<unsigned>(m_nX),
                             static_cast<unsigned>(m_nY), static_cast<unsigned>(m_nW),
                             static_cast<unsigned>(m_nH), bCapture, m_pConverter)) {
        delete m_pCurrShader;
        m_pCurrShader = nullptr;
        return 0;
    }
    m_nLastEffect = static_cast<int>(number);
    const uint32_t loaded = GetTickCount();
    LOG_INFO(gManagerLog,
             "[%s] Effect delete time %d ms, re-init time %d ms, total loading time %d ms\n", kName,
             static_cast<int>(deleted - started), static_cast<int>(loaded - deleted),
             static_cast<int>(loaded - started));
    LogLine(kName, "leave");
    return 1;
}

int GEManager::ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) {
    const uint32_t started = GetTickCount();
    if (!m_bInit) {
        LOG_ERROR(gManagerLog, "[%s] not inited\n", "ProcFrame");
        return 0;
    }
    if (m_pCurrShader == nullptr) {
        LOG_ERROR(gManagerLog, "[GEManager::ProcFrame] no shader selected");
        return 0;
    }
    if (!m_pCurrShader->ProcFrame(srcTex, dstTex, w, h)) {
        LOG_ERROR(gManagerLog, "[GPUEffectManager::ProcFrame] failed to process frame\n");
        return 0;
    }
    gFrameTimeSum += GetTickCount() - started;
    if (++gFrameTimeCount == kAveragedFrames) {
        LOG_INFO(gManagerLog, "[GPUEffectManager::ProcFrame] Avg frame proc time = %.2f ms\n",
                 static_cast<double>(static_cast<float>(gFrameTimeSum) /
                                     static_cast<float>(gFrameTimeCount)));
        gFrameTimeSum = 0;
        gFrameTimeCount = 0;
    }
    FPS();
    return 1;
}

bool GEManager::ReadyForCapture() const {
    if (!m_bInit) {
        LOG_ERROR(gManagerLog, "[%s] not inited\n", "ProcFrame");
        return false;
    }
    if (m_pCurrShader == nullptr) {
        LOG_ERROR(gManagerLog, "[GEManager::ProcFrame] no shader selected");
        return false;
    }
    if (!m_bCapture) {
        LOG_ERROR(gManagerLog, "[GEManager::ProcFrame] only capture mode use this method");
        return false;
    }
    return true;
}

int GEManager::FinishCapture(int result, uint32_t started, int w, int h) const {
    if (!result) {
        LOG_ERROR(gManagerLog, "[GPUEffectManager::ProcFrame] failed to process frame\n");
        return 0;
    }
    LOG_INFO(gManagerLog, "[%s] %dx%d image spent %d ms", "ProcFrame", w, h,
             static_cast<int>(GetTickCount() - started));
    return 1;
}

int GEManager::ProcFrame(unsigned char* in, unsigned char* out, int w, int h) {
    const uint32_t started = GetTickCount();
    if (!ReadyForCapture()) return 0;
    return FinishCapture(m_pCurrShader->ProcFrame(in, out, w, h), started, w, h);
}

int GEManager::ProcFrame(unsigned char* inY, unsigned char* inUV, unsigned char* out, int w,
                         int h) {
    const uint32_t started = GetTickCount();
    if (!ReadyForCapture()) return 0;
    return FinishCapture(m_pCurrShader->ProcFrame(inY, inUV, out, w, h), started, w, h);
}

int GEManager::SetParam(unsigned int index, int a, int b, int c, int d) {
    if (!m_bInit) {
        LOG_ERROR(gManagerLog, "[%s] not inited\n", "SetParam");
        return 0;
    }
    if (m_pCurrShader == nullptr) {
        LOG_ERROR(gManagerLog, "[GEManager::SetParam] no shader selected.\n");
        return 0;
    }
    if (index == 1) {
        a = MapCoordinate(a, m_nX, m_nW, m_nDispWidth);
        b = MapCoordinate(b, m_nY, m_nH, m_nDispHeight);
        c = MapCoordinate(c, m_nX, m_nW, m_nDispWidth);
        d = MapCoordinate(d, m_nY, m_nH, m_nDispHeight);
    }
    return m_pCurrShader->SetParam(index, a, b, c, d);
}

int GEManager::SetCrop(float x, float y, float w, float h) {
    return m_pCurrShader != nullptr ? m_pCurrShader->SetCrop(x, y, w, h) : 0;
}

int GEManager::MemcpyYUV(void* dstY, void* dstUV) {
    return m_pCurrShader != nullptr && m_pCurrShader->MemcpyYUV(dstY, dstUV) ? 1 : 0;
}

void GEManager::FPS() {
    ++gFPSFrames;
    const uint32_t now = GetTickCount();
    const uint32_t elapsed = now - gFPSTimeBase;
    if (elapsed < kFPSPeriod) return;
    LOG_INFO(gManagerLog, "[%s] FPS = %.2f\n", "FPS", gFPSFrames * 1000.0 / elapsed);
    gFPSTimeBase = now;
    gFPSFrames = 0;
}
