#include "service/GECameraParameters.h"

#include <posteffect/EffectCatalog.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>

#include "gl/Log.h"

namespace android {

const char GECameraParameters::KEY_GPU_EFFECT[] = "GPU-effect";
const char GECameraParameters::KEY_GPU_EFFECT_PARAM_0[] = "GE-param0";
const char GECameraParameters::KEY_GPU_EFFECT_PARAM_1[] = "GE-param1";
const char GECameraParameters::KEY_GPU_EFFECT_PARAM_2[] = "GE-param2";
const char GECameraParameters::KEY_GPU_EFFECT_PARAM_3[] = "GE-param3";

namespace {

LogTag gLog("GECameraParameters");

constexpr int kGroups = 4;
constexpr std::size_t kNumbers = 4;

const posteffect::EffectInfo* EffectByLetter(char letter) {
    for (const posteffect::EffectInfo& effect : posteffect::kEffects) {
        if (effect.letter == letter) return &effect;
    }
    return nullptr;
}

int ToInt(long value) {
    return static_cast<int>(
        std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// Four decimal numbers joined by single commas; what follows the fourth is ignored.
bool ParseNumbers(const char* text, std::array<int, kNumbers>& numbers) {
    for (std::size_t i = 0; i < kNumbers; ++i) {
        char* end = nullptr;
        numbers[i] = ToInt(std::strtol(text, &end, 10));
        if (i + 1 == kNumbers) break;
        if (*end != ',') return false;
        text = end + 1;
    }
    return true;
}

}  // namespace

bool GECameraParameters::getGPUEffect(int* pnEffectNo) {
    constexpr const char* kPrefix = "[GECameraParameters::getGPUEffect] ";
    LOG_DEBUG(gLog, "%senter", kPrefix);
    if (pnEffectNo == nullptr) {
        LOG_DEBUG(gLog, "%snull pnEffectNo, leave", kPrefix);
        return false;
    }
    *pnEffectNo = posteffect::kEffectNone;
    const char* value = get(KEY_GPU_EFFECT);
    if (value == nullptr) {
        LOG_DEBUG(gLog, "%sleave. no key %s", kPrefix, KEY_GPU_EFFECT);
        return false;
    }
    const posteffect::EffectInfo* effect = EffectByLetter(value[0]);
    LOG_DEBUG(gLog, "%s%s", kPrefix, effect != nullptr ? effect->logName : "invalid value");
    if (effect != nullptr) *pnEffectNo = effect->number;
    LOG_DEBUG(gLog, "%sleave", kPrefix);
    return true;
}

bool GECameraParameters::getGPUEffectParam(int nIdx, int* a, int* b, int* c, int* d) {
    constexpr const char* kPrefix = "[GECameraParameters::getGPUEffectParam] ";
    const std::array<const char*, kGroups> keys = {KEY_GPU_EFFECT_PARAM_0, KEY_GPU_EFFECT_PARAM_1,
                                                   KEY_GPU_EFFECT_PARAM_2, KEY_GPU_EFFECT_PARAM_3};
    if (nIdx < 0 || nIdx >= kGroups) {
        LOG_DEBUG(gLog, "%snIdx %d out of range, return", kPrefix, nIdx);
        return false;
    }
    const char* key = keys[static_cast<std::size_t>(nIdx)];
    const char* value = get(key);
    if (value == nullptr) {
        LOG_DEBUG(gLog, "%sleave. no key %s", kPrefix, key);
        return false;
    }
    std::array<int, kNumbers> numbers{};
    if (!ParseNumbers(value, numbers)) {
        LOG_DEBUG(gLog, "%sparse_params format error", kPrefix);
        return false;
    }
    const std::array<int*, kNumbers> outputs = {a, b, c, d};
    for (std::size_t i = 0; i < kNumbers; ++i) {
        if (outputs[i] != nullptr) *outputs[i] = numbers[i];
    }
    return true;
}

void GECameraParameters::setGPUEffect(int) {}

}  // namespace android
