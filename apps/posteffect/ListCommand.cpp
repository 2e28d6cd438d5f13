// posteffect list: the effects with their options.
#include <posteffect/EffectCatalog.h>

#include <cstddef>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "apps/posteffect/Arguments.h"
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

class ListCommand : public Command {
  public:
    const char* name() const override { return "list"; }
    const char* summary() const override { return "name the effects with their options"; }
    void declare(Arguments& arguments) override { arguments.flag("--json", "as JSON", &m_json); }
    int run() override { return WriteStandardOutput(m_json ? JsonList() : PlainList()); }

  private:
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> MakeListCommand() {
    return std::make_unique<ListCommand>();
}

}  // namespace posteffect
