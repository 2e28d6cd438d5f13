#include "effects/Focus.h"

#include <algorithm>
#include <cmath>

#include "effects/SizeUpTexts.h"
#include "gl/Log.h"

void FocusEffect::ResetFocus() {
    m_fMixWeight = 1.0F;
    m_centerX = m_centerY = 0.5F;
    m_inner = 0.36F;
    m_outer = 0.49F;
}

int FocusEffect::SetParam(unsigned int type, int p0, int p1, int p2, int p3) {
    if (type == 0) {
        constexpr int kFullMix = 75;  // beyond it only the kernel grows
        constexpr int kStrengthPerKernel = 7;
        const int selector = p0 / kStrengthPerKernel;
        m_pfGaussian = &SelectBlurKernel(selector);
        m_fMixWeight = p0 < kFullMix ? static_cast<float>(p0) / kFullMix : 1.0F;
        LOG_INFO(m_traits.log, "[%s] %d\n", "SetParam", selector);
    } else if (type == 1) {
        const auto width = static_cast<float>(m_nW);
        const auto height = static_cast<float>(m_nH);
        m_centerX = static_cast<float>(p0) / width;
        m_centerY = static_cast<float>(p1) / height;
        const float dx = std::abs((static_cast<float>(p2) - static_cast<float>(p0)) / width);
        const float dy = std::abs((static_cast<float>(p3) - static_cast<float>(p1)) / height);
        SetEdge({dx, dy, std::max(0.1F, std::sqrt(dx * dx + dy * dy))});
    }
    return 0;
}

void FocusEffect::SetSizeUpUniforms(GLProgram& program) {
    program.Uniform2f(kFocusCenter, m_centerX, m_centerY);
    program.Uniform2f(kFocusDistance, m_inner, m_outer);
    program.Uniform1f(kFocusMixWeight, m_fMixWeight);
}
