#include "apps/common/EffectParameters.h"

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

}  // namespace

OptionValues DefaultValues(const EffectInfo& effect) {
    OptionValues values;
    for (const EffectOption& option : effect.options) {
        values.push_back({option.defaultValue, option.defaultValue});
    }
    return values;
}

std::string FlattenParameters(const EffectInfo& effect, const OptionValues& values) {
    Group group0{};
    OptionValue center;
    double radius = 0.0;
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
        }
    }
    // A radius travels as a second point, that far to the right of the first.
    const long x = std::lround(center.x * kDisplayGridWidth);
    const long y = std::lround(center.y * kDisplayGridHeight);
    const Group group1 = {x, y, x + std::lround(radius * kDisplayGridWidth), y};
    return std::string("GPU-effect=") + effect.letter + GroupText("GE-param0", group0) +
           GroupText("GE-param1", group1);
}

}  // namespace posteffect
