// The options that choose an effect and set it, the same in every command that filters.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/EffectParameters.h"
#include "apps/posteffect/Arguments.h"

namespace posteffect {

struct ChosenEffect {
    const EffectInfo* effect = nullptr;
    OptionValues values;  // one for each option of the effect
};

// The effect of this name; throws Failure, with the nearest name.
const EffectInfo& FindEffect(const std::string& nick);

// Declares --effect and an option for each of the effects' own.
class EffectArguments {
  public:
    void declare(Arguments& arguments);
    // Throws Failure for what is no effect, no value, or no option of this effect.
    ChosenEffect resolve() const;
    // The same where an effect may be left out.
    ChosenEffect chosenOr(const EffectInfo& fallback) const;

  private:
    std::optional<std::string> m_effect;
    std::map<std::string, std::optional<std::string>> m_options;  // by name
};

}  // namespace posteffect
