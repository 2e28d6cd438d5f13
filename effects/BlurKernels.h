// The kernels of the two-pass blur: one half of a Gaussian's samples for each width, stored.
#pragma once

#include <array>

inline constexpr int kBlurTaps = 15;  // offsets -7 .. 7, in steps

// Weight j belongs to the offset j - 7; each kernel is symmetric and sums to 1 within the rounding
// to six places.
using BlurKernel = std::array<float, kBlurTaps>;

// The kernel for a strength of 0 to 100 in steps of 7: selector 2 is the narrowest of the row (a
// deviation of 0.6 steps), 14 the widest (3.0). Any other selector gives one narrower still (0.4).
const BlurKernel& SelectBlurKernel(int selector);

inline constexpr int kWidestBlur = 14;
