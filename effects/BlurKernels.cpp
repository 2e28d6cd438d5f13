#include "effects/BlurKernels.h"

#include <cstddef>
#include <iterator>

namespace {

constexpr int kHalf = kBlurTaps / 2;

// The centre's weight and those of the offsets 1 to 7.
using HalfKernel = std::array<float, kHalf + 1>;

constexpr BlurKernel Mirrored(const HalfKernel& half) {
    BlurKernel kernel{};
    for (std::size_t j = 0; j < half.size(); ++j) {
        kernel[kHalf + j] = half[j];
        kernel[kHalf - j] = half[j];
    }
    return kernel;
}

// exp(-d * d / (2 * s * s)) over the sum of these, for deviations s of 0.4, 0.6 ... 3.0 steps.
// clang-format off
constexpr BlurKernel kKernels[] = {
    Mirrored({0.919218F, 0.040388F, 0.000003F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F}),
    Mirrored({0.663815F, 0.165524F, 0.002566F, 0.000002F, 0.0F, 0.0F, 0.0F, 0.0F}),
    Mirrored({0.498675F, 0.228310F, 0.021910F, 0.000441F, 0.000002F, 0.0F, 0.0F, 0.0F}),
    Mirrored({0.398942F, 0.241971F, 0.053991F, 0.004432F, 0.000134F, 0.000001F, 0.0F, 0.0F}),
    Mirrored({0.332452F, 0.234927F, 0.082898F, 0.014607F, 0.001285F, 0.000056F, 0.000001F, 0.0F}),
    Mirrored({0.284959F, 0.220797F, 0.102713F, 0.028686F, 0.004810F, 0.000484F, 0.000029F, 0.000001F}),
    Mirrored({0.249339F, 0.205101F, 0.114156F, 0.042992F, 0.010955F, 0.001889F, 0.000220F, 0.000017F}),
    Mirrored({0.221640F, 0.189945F, 0.119554F, 0.055266F, 0.018764F, 0.004679F, 0.000857F, 0.000115F}),
    Mirrored({0.199501F, 0.176059F, 0.121004F, 0.064769F, 0.027000F, 0.008765F, 0.002216F, 0.000436F}),
    Mirrored({0.181444F, 0.163635F, 0.120028F, 0.071607F, 0.034746F, 0.013712F, 0.004401F, 0.001149F}),
    Mirrored({0.166500F, 0.152656F, 0.117657F, 0.076229F, 0.041517F, 0.019008F, 0.007316F, 0.002367F}),
    Mirrored({0.154010F, 0.143029F, 0.114567F, 0.079149F, 0.047162F, 0.024238F, 0.010743F, 0.004107F}),
    Mirrored({0.143496F, 0.134630F, 0.111186F, 0.080828F, 0.051723F, 0.029134F, 0.014446F, 0.006305F}),
    Mirrored({0.134598F, 0.127325F, 0.107778F, 0.081638F, 0.055335F, 0.033562F, 0.018216F, 0.008847F}),
};
// clang-format on

constexpr int kFirstSelector = 2;  // of the second kernel
static_assert(std::size(kKernels) == kWidestBlur - kFirstSelector + 2);

}  // namespace

const BlurKernel& SelectBlurKernel(int selector) {
    const bool inRow = selector >= kFirstSelector && selector <= kWidestBlur;
    return kKernels[inRow ? selector - kFirstSelector + 1 : 0];
}
