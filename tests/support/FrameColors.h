// Colours as frames of each kind store them.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>

#include "apps/common/FrameColor.h"

namespace testing_support {

inline constexpr posteffect::FrameColor kColors[] = {
    {posteffect::ColorRange::kFull, posteffect::ColorMatrix::kBt601},
    {posteffect::ColorRange::kLimited, posteffect::ColorMatrix::kBt601},
    {posteffect::ColorRange::kFull, posteffect::ColorMatrix::kBt709},
    {posteffect::ColorRange::kLimited, posteffect::ColorMatrix::kBt709},
    {posteffect::ColorRange::kLimited, posteffect::ColorMatrix::kBt2020},
    {posteffect::ColorRange::kFull, posteffect::ColorMatrix::kBt2020},
};

inline std::string Name(const posteffect::FrameColor& color) {
    const char* const matrices[] = {"601", "709", "2020"};
    return std::string(color.range == posteffect::ColorRange::kFull ? "full " : "limited ") +
           matrices[static_cast<int>(color.matrix)];
}

// Y, U, V samples of a colour, not rounded.
inline std::array<double, 3> Samples(const std::array<double, 3>& rgb,
                                     const posteffect::FrameColor& color) {
    const std::array<std::array<double, 2>, 3> weights = {
        {{0.299, 0.114}, {0.2126, 0.0722}, {0.2627, 0.0593}}};
    const auto [red, blue] = weights[static_cast<std::size_t>(color.matrix)];
    const double y = red * rgb[0] + (1.0 - red - blue) * rgb[1] + blue * rgb[2];
    const double u = (rgb[2] - y) / (2.0 * (1.0 - blue));
    const double v = (rgb[0] - y) / (2.0 * (1.0 - red));
    if (color.range == posteffect::ColorRange::kFull)
        return {255 * y, 128 + 255 * u, 128 + 255 * v};
    return {16 + 219 * y, 128 + 224 * u, 128 + 224 * v};
}

inline uint8_t Byte(double sample) {
    return static_cast<uint8_t>(std::lround(std::clamp(sample, 0.0, 255.0)));
}

}  // namespace testing_support
