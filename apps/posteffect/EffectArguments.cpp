#include "apps/posteffect/EffectArguments.h"

#include <cstddef>
#include <sstream>
#include <utility>

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

std::optional<std::size_t> OptionIndex(const EffectInfo& effect, const std::string& name) {
    for (std::size_t i = 0; i < effect.options.count; ++i) {
        if (name == effect.options.first[i].name) return i;
    }
    return std::nullopt;
}

Failure NotTaken(const std::string& name, const std::vector<ChosenEffect>& effects) {
    std::vector<std::string> nicks;
    std::vector<std::string> taken;
    for (const ChosenEffect& chosen : effects) {
        nicks.emplace_back(chosen.effect->nick);
        for (const EffectOption& option : chosen.effect->options) {
            taken.push_back("--" + std::string(option.name));
        }
    }
    const std::string takes = taken.empty() ? "no options" : JoinNames(taken, "and");
    return {kExitWrongUse, "--" + name,
            nicks.size() == 1
                ? "effect " + nicks.front() + " does not take it: it takes " + takes
                : "neither " + JoinNames(nicks, "nor") + " takes it: they take " + takes};
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
    arguments.options(
        "-e,--effect", "NAME",
        "the effect: " + JoinNames(EffectNames(), "or") +
            "; NAME:option=value:... sets its options at once. Several are applied in their order, "
            "where the command takes several",
        &m_effects);
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

struct EffectArguments::Link {
    ChosenEffect chosen;
    std::vector<bool> set;  // for each option whether it was set behind the effect's name
};

EffectArguments::Link EffectArguments::readLink(const std::string& text) {
    std::istringstream words(text);
    std::string word;
    std::getline(words, word, ':');
    Link link;
    link.chosen.effect = &FindEffect(word);
    link.chosen.values = DefaultValues(*link.chosen.effect);
    link.set.resize(link.chosen.values.size());
    while (std::getline(words, word, ':')) {
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos) {
            throw Failure(kExitWrongUse, "--effect " + text,
                          "\"" + word + "\" is no option=value: write NAME:option=value");
        }
        const std::string name = word.substr(0, equals);
        const auto index = OptionIndex(*link.chosen.effect, name);
        if (!index) throw NotTaken(name, {link.chosen});
        link.chosen.values[*index] =
            ParseOptionValue(link.chosen.effect->options.first[*index], word.substr(equals + 1));
        link.set[*index] = true;
    }
    return link;
}

// Gives the value to the one effect of the chain that takes it.
void EffectArguments::setOption(const std::string& name, const std::string& text,
                                std::vector<Link>* chain) {
    Link* taker = nullptr;
    for (Link& link : *chain) {
        if (!OptionIndex(*link.chosen.effect, name)) continue;
        if (taker) {
            throw Failure(kExitWrongUse, "--" + name,
                          "more than one of the effects takes it: set it behind the effect's name, "
                          "as in -e NAME:option=value");
        }
        taker = &link;
    }
    if (!taker) {
        std::vector<ChosenEffect> effects;
        effects.reserve(chain->size());
        for (const Link& link : *chain) effects.push_back(link.chosen);
        throw NotTaken(name, effects);
    }
    const std::size_t index = *OptionIndex(*taker->chosen.effect, name);
    if (taker->set[index]) {
        throw Failure(kExitWrongUse, "--" + name,
                      "is set behind the effect's name already: leave one of them out");
    }
    taker->chosen.values[index] =
        ParseOptionValue(taker->chosen.effect->options.first[index], text);
}

std::vector<ChosenEffect> EffectArguments::resolveChain() const {
    if (m_effects.empty()) {
        throw Failure(kExitWrongUse, "--effect", "is required: posteffect list names them");
    }
    std::vector<Link> chain;
    chain.reserve(m_effects.size());
    for (const std::string& text : m_effects) chain.push_back(readLink(text));
    for (const auto& [name, text] : m_options) {
        if (text) setOption(name, *text, &chain);
    }
    std::vector<ChosenEffect> effects;
    effects.reserve(chain.size());
    for (Link& link : chain) effects.push_back(std::move(link.chosen));
    return effects;
}

ChosenEffect EffectArguments::resolve() const {
    if (m_effects.size() > 1) {
        throw Failure(kExitWrongUse, "--effect", "takes one effect here: give it once");
    }
    return resolveChain().front();
}

ChosenEffect EffectArguments::resolveOr(const EffectInfo& fallback) const {
    if (!m_effects.empty()) return resolve();
    for (const auto& [name, text] : m_options) {
        if (text) throw NotTaken(name, {{&fallback, {}}});
    }
    return {&fallback, DefaultValues(fallback)};
}

}  // namespace posteffect
