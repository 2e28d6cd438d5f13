// Parameter text in any shape: what is read flattens and reads back the same.
#include "fuzz/FuzzInput.h"
#include "service/EffectParameters.h"
#include "service/GECameraParameters.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzInput input(bytes, size);
    const android::String8 text(input.text(size).c_str());
    android::GECameraParameters parameters;
    parameters.unflatten(text);
    const auto read = [](android::GECameraParameters& from) {
        struct Values {
            bool found[3];
            int effect;
            int groups[8];
        } values{};
        values.effect = -2;
        values.found[0] = from.getGPUEffect(&values.effect);
        for (int i = 0; i < 2; ++i) {
            int* const group = values.groups + 4 * i;
            values.found[1 + i] = from.getGPUEffectParam(i, group, group + 1, group + 2, group + 3);
        }
        return values;
    };
    const auto first = read(parameters);
    android::GECameraParameters again;
    again.unflatten(parameters.flatten());
    const auto second = read(again);
    for (int i = 0; i < 3; ++i) FUZZ_CHECK(first.found[i] == second.found[i]);
    FUZZ_CHECK(first.effect == second.effect);
    for (int i = 0; i < 8; ++i) FUZZ_CHECK(first.groups[i] == second.groups[i]);
    FUZZ_CHECK(first.effect >= -2 && first.effect < 19);
    return 0;
}
