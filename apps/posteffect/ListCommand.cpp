#include "apps/posteffect/ListCommand.h"

#include <posteffect/EffectCatalog.h>

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>

#include "apps/posteffect/OptionText.h"
#include "apps/posteffect/StandardOutput.h"

namespace posteffect {
namespace {

std::string Padded(std::string text, std::size_t width) {
    if (text.size() < width) text.append(width - text.size(), ' ');
    return text;
}

std::string PlainList() {
    std::string text;
    for (const EffectInfo& effect : kEffects) {
        text += Padded(effect.nick, 20) + effect.summary + "\n";
        for (const EffectOption& option : effect.options) {
            text += Padded("  --" + std::string(option.name) + " " + ValueName(option), 20) +
                    option.help + " (" + option.unit + "; " + RangeText(option) + ", default " +
                    DefaultText(option) + ")\n";
        }
    }
    return text;
}

nlohmann::ordered_json OptionJson(const EffectOption& option) {
    const bool point = IsPoint(option);
    nlohmann::ordered_json json;
    json["name"] = option.name;
    if (option.choices) {
        json["type"] = "choice";
        json["choices"] = Choices(option);
        json["default"] = DefaultText(option);
        json["help"] = option.help;
        return json;
    }
    json["type"] = point ? "point" : "number";
    json["minimum"] = option.minimum;
    json["maximum"] = option.maximum;
    if (point) {
        json["default"] = {option.defaultValue, option.defaultValue};
    } else {
        json["default"] = option.defaultValue;
    }
    json["unit"] = option.unit;
    json["help"] = option.help;
    return json;
}

std::string JsonList() {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const EffectInfo& effect : kEffects) {
        nlohmann::ordered_json json;
        json["effect"] = effect.nick;
        json["name"] = effect.name;
        json["summary"] = effect.summary;
        json["crop"] = effect.cropsStills;
        json["options"] = nlohmann::ordered_json::array();
        for (const EffectOption& option : effect.options) {
            json["options"].push_back(OptionJson(option));
        }
        list.push_back(std::move(json));
    }
    return list.dump(2) + "\n";
}

}  // namespace

int RunList(const ListOptions& options) {
    return WriteStandardOutput(options.json ? JsonList() : PlainList());
}

}  // namespace posteffect
