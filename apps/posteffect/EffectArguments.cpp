#include "apps/posteffect/EffectArguments.h"

#include <algorithm>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/NearestName.h"
#include "apps/posteffect/OptionText.h"

namespace posteffect {
namespace {

std::vector<std::string> EffectNames() {
    std::vector<std::string> nicks;
    nicks.reserve(kEffectCount);
    for (const EffectInfo& effect : kEffects) nicks.emplace_back(effect.nick);
    return nicks;
}

}  // namespace

const EffectInfo& FindEffect(const std::string& nick) {
    for (const EffectInfo& effect : kEffects) {
        if (nick == effect.nick) return effect;
    }
    const std::string nearest = NearestName(nick, EffectNames());
    throw Failure(kExitWrongUse, "--effect " + nick,
                  nearest.empty() ? "no such effect: posteffect list names them"
                                  : "no such effect: did you mean " + nearest + "?");
}

void EffectArguments::declare(Arguments& arguments) {
    arguments.option("-e,--effect", "NAME", "the effect: " + JoinNames(EffectNames(), "or"),
                     &m_effect);
    // Effects share names of options: one option for each name, with the help of all.
    std::map<std::string, std::string> helps;
    std::map<std::string, std::string> valueNames;
    std::vector<std::string> names;
    for (const EffectInfo& effect : kEffects) {
        for (const EffectOption& option : effect.options) {
            std::string& help = helps[option.name];
            if (help.empty()) names.emplace_back(option.name);
            if (!help.empty()) help += "; ";
            help += std::string(effect.nick) + ": " + option.help + " (" + option.unit + "; " +
                    RangeText(option) + ", default " + DefaultText(option) + ")";
            valueNames[option.name] = ValueName(option);
        }
    }
    for (const std::string& name : names) {
        arguments.option("--" + name, valueNames[name], helps[name], &m_options[name],
                         "Options of the effects");
    }
}

ChosenEffect EffectArguments::resolve() const {
    if (m_effect) return chosenOr(kEffects[kEffectBypass]);
    throw Failure(kExitWrongUse, "--effect", "is required: posteffect list names them");
}

ChosenEffect EffectArguments::chosenOr(const EffectInfo& fallback) const {
    ChosenEffect chosen;
    chosen.effect = m_effect ? &FindEffect(*m_effect) : &fallback;
    chosen.values = DefaultValues(*chosen.effect);
    std::vector<std::string> taken;
    for (std::size_t i = 0; i < chosen.effect->options.count; ++i) {
        const EffectOption& option = chosen.effect->options.first[i];
        taken.push_back("--" + std::string(option.name));
        const auto& text = m_options.at(option.name);
        if (text) chosen.values[i] = ParseOptionValue(option, *text);
    }
    for (const auto& [name, text] : m_options) {
        if (!text || std::find(taken.begin(), taken.end(), "--" + name) != taken.end()) continue;
        throw Failure(kExitWrongUse, "--" + name,
                      std::string("effect ") + chosen.effect->nick +
                          " does not take it: it takes " +
                          (taken.empty() ? "no options" : JoinNames(taken, "and")));
    }
    return chosen;
}

}  // namespace posteffect
