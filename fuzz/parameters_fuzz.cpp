// Parameter text in any shape: what is read flattens and reads back the same.
#include <cstring>

#include "fuzz/FuzzInput.h"
#include "service/EffectParameters.h"
#include "service/GECameraParameters.h"

namespace {

constexpr int kGroups = 4;

struct Values {
    bool found[1 + kGroups];
    int effect;
    int groups[kGroups * 4];
};

Values Read(android::GECameraParameters& from) {
    Values values{};
    values.effect = -2;
    values.found[0] = from.getGPUEffect(&values.effect);
    for (int i = 0; i < kGroups; ++i) {
        int* const group = values.groups + 4 * i;
        values.found[1 + i] = from.getGPUEffectParam(i, group, group + 1, group + 2, group + 3);
    }
    return values;
}

bool IsSame(const Values& first, const Values& second) {
    for (int i = 0; i <= kGroups; ++i) {
        if (first.found[i] != second.found[i]) return false;
    }
    return first.effect == second.effect &&
           std::memcmp(first.groups, second.groups, sizeof(first.groups)) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzInput input(bytes, size);
    const android::String8 text(input.text(size).c_str());
    android::GECameraParameters parameters;
    parameters.unflatten(text);
    const Values values = Read(parameters);
    FUZZ_CHECK(values.effect >= -2 && values.effect < 19);
    const android::String8 flat = parameters.flatten();
    android::GECameraParameters again;
    again.unflatten(flat);
    FUZZ_CHECK(IsSame(values, Read(again)));
    FUZZ_CHECK(std::strcmp(again.flatten().string(), flat.string()) == 0);

    // A number that is set is read, and one that is removed is gone.
    const char* const key = android::GECameraParameters::KEY_GPU_EFFECT;
    again.set(key, static_cast<int>(size));
    FUZZ_CHECK(again.getInt(key) == static_cast<int>(size));
    again.remove(key);
    FUZZ_CHECK(again.get(key) == nullptr);
    return 0;
}
