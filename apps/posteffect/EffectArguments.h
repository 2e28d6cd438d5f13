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

// Declares --effect and an option for each of the effects' own. --effect may be given several
// times, each as NAME or NAME:option=value:option=value.
class EffectArguments {
  public:
    void declare(Arguments& arguments);
    // Both throw Failure for what is no effect, no value, or no option of these effects.
    ChosenEffect resolve() const;                    // exactly one
    std::vector<ChosenEffect> resolveChain() const;  // one or more, in their order
    // The one, where it may be left out.
    ChosenEffect resolveOr(const EffectInfo& fallback) const;

  private:
    struct Link;  // one --effect

    static Link readLink(const std::string& text);
    static void setOption(const std::string& name, const std::string& text,
                          std::vector<Link>* chain);

    std::vector<std::string> m_effects;
    std::map<std::string, std::optional<std::string>> m_options;  // by name
};

}  // namespace posteffect
