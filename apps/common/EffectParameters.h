// From options as people give them to the parameter text that the library takes.
#pragma once

#include <posteffect/EffectCatalog.h>

#include <array>
#include <string>
#include <vector>

namespace posteffect {

// A point uses both numbers, everything else the first.
struct OptionValue {
    double x = 0.0;
    double y = 0.0;
};

// One value for each option of an effect, in the order of its table.
using OptionValues = std::vector<OptionValue>;

OptionValues DefaultValues(const EffectInfo& effect);

// The flattened camera parameters that select `effect` with these values. Both groups are always
// there with four numbers each: the library keeps what it held for a group that is missing.
std::string FlattenParameters(const EffectInfo& effect, const OptionValues& values);

// The four numbers of each group, and the parameters that carry them.
struct ParameterGroups {
    std::array<long, 4> group0{};
    std::array<long, 4> group1{};
};
ParameterGroups MakeGroups(const EffectInfo& effect, const OptionValues& values);
std::string FlattenGroups(const EffectInfo& effect, const ParameterGroups& groups);

}  // namespace posteffect
