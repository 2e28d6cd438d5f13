#include "apps/common/EffectParameters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace posteffect {
namespace {

using Group = std::array<long, 4>;

std::string GroupText(const char* key, const Group& group) {
    std::string text = std::string(";") + key + "=";
    for (std::size_t i = 0; i < group.size(); ++i) {
        if (i > 0) text += ',';
        text += std::to_string(group[i]);
    }
    return text;
}

// Tilt-shift blurs from (d - 0.075)^2 on and fully from (d + 0.075)^2, where d is how far the point
// lies below the centre; half way between these is d^2 + 0.075^2.
double PointForBandEdge(double edge) {
    constexpr double kHalfEdge = 0.075;
    return std::sqrt(std::max(0.0, edge - kHalfEdge * kHalfEdge));
}

// Dots have a 68th of the height at 0 and a 30th at 100.
double CellSizeForRows(double rows) {
    constexpr double kSmallest = 1.0 / 68.0;
    constexpr double kLargest = 1.0 / 30.0;
    return 100.0 * (1.0 / rows - kSmallest) / (kLargest - kSmallest);
}

}  // namespace

OptionValues DefaultValues(const EffectInfo& effect) {
    OptionValues values;
    for (const EffectOption& option : effect.options) {
        values.push_back({option.defaultValue, option.defaultValue});
    }
    return values;
}

ParameterGroups MakeGroups(const EffectInfo& effect, const OptionValues& values) {
    Group group0{};
    OptionValue center;
    double radius = 0.0;  // of the width
    double below = 0.0;   // of the height
    for (std::size_t i = 0; i < effect.options.count && i < values.size(); ++i) {
        switch (effect.options.first[i].target) {
            case OptionTarget::kGroup0First:
                group0[0] = std::lround(values[i].x);
                break;
            case OptionTarget::kCenter:
                center = values[i];
                break;
            case OptionTarget::kRadius:
                radius = values[i].x;
                break;
            case OptionTarget::kBandEdge:
                below = PointForBandEdge(values[i].x);
                break;
            case OptionTarget::kCellRows:
                group0[0] = std::lround(CellSizeForRows(values[i].x));
                break;
            case OptionTarget::kBandAngle:
                break;
        }
    }
    // Distances travel as a second point, that far from the first.
    const long x = std::lround(center.x * kDisplayGridWidth);
    const long y = std::lround(center.y * kDisplayGridHeight);
    const Group group1 = {x, y, x + std::lround(radius * kDisplayGridWidth),
                          y + std::lround(below * kDisplayGridHeight)};
    return {group0, group1};
}

std::string FlattenGroups(const EffectInfo& effect, const ParameterGroups& groups) {
    return std::string("GPU-effect=") + effect.letter + GroupText("GE-param0", groups.group0) +
           GroupText("GE-param1", groups.group1);
}

std::string FlattenParameters(const EffectInfo& effect, const OptionValues& values) {
    return FlattenGroups(effect, MakeGroups(effect, values));
}

}  // namespace posteffect
