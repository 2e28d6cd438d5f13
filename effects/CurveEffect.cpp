#include "effects/CurveEffect.h"

#include <utility>

#include "engine/LookUpTexture.h"

namespace {

constexpr int kHintWidth = 960;
constexpr int kHintHeight = 544;

}  // namespace

CurveEffect::~CurveEffect() {
    CurveEffect::Deinit();
}

void CurveEffect::ReleaseTextures() {
    for (auto* texture : {&m_cross, &m_cold, &m_warm, &m_sepia, &m_mask, &m_white}) {
        texture->reset();
    }
    m_table.reset();
    m_tabulated = nullptr;
}

int CurveEffect::BeginInit(const char* title, GLTexture* src, unsigned int out, unsigned int x,
                           unsigned int y, unsigned int w, unsigned int h, unsigned char bCapture,
                           IYUVConverter* cb) {
    LOG_INFO(log(), "[%s] ------------------------------------------------------", "Init");
    LOG_INFO(log(), "[%s] %s", "Init", title);
    LOG_INFO(log(), "[%s] x=%d y=%d w=%d h=%d  cap=%d", "Init", static_cast<int>(x),
             static_cast<int>(y), static_cast<int>(w), static_cast<int>(h), bCapture);
    StoreInitArguments(src, out, x, y, w, h, bCapture, kHintWidth, kHintHeight);
    return InitBase(cb);
}

std::unique_ptr<GLTexture> CurveEffect::LoadCurve(const char* name, const char* creating,
                                                  const char* failed) const {
    LOG_INFO(log(), "[%s] Creating %s curve texture", "Init", creating);
    std::unique_ptr<GLTexture> curve(LoadLookUp(name, GL_RGB, LookUpPath::kOwnCopyFirst));
    if (curve == nullptr) LOG_ERROR(log(), "[%s] can't load %s tex", "Init", failed);
    return curve;
}

bool CurveEffect::LoadMasks() {
    m_mask.reset(LoadVignetteMask(log(), m_nW, m_nH, LookUpPath::kOwnCopyFirst));
    if (m_mask == nullptr) return false;
    m_white.reset(CreateWhiteTexture(log()));
    return m_white != nullptr;
}

bool CurveEffect::UseCurve(GLTexture* curve, GLTexture* mask) {
    if (drawsForSoftware()) {
        if (m_tabulated != curve) {
            auto table = DrawCurveTable(log(), curve, 0.0F);
            if (table == nullptr) return false;
            m_table = std::move(table);
            m_tabulated = curve;
        }
        curve = m_table.get();
    }
    program()->SetTextures(kCurveSlot, curve);
    program()->SetTextures(kVignetteSlot, mask);
    return true;
}
