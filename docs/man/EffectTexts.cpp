// Writes what the manual and the pages of the effects say of the catalog.
//
//     posteffect_effect_texts manual        the sections of posteffect-effects(7), for scdoc
//     posteffect_effect_texts page NICK     the table of an effect's options, for its page
#include <posteffect/EffectCatalog.h>

#include <cstdio>
#include <string>

#include "apps/posteffect/OptionText.h"

namespace {

using posteffect::EffectInfo;
using posteffect::EffectOption;

// scdoc reads these as markup, a table cell of Markdown ends at '|'.
std::string Escaped(const std::string& text, const char* special) {
    std::string escaped;
    for (const char letter : text) {
        if (std::string(special).find(letter) != std::string::npos) escaped += '\\';
        escaped += letter;
    }
    return escaped;
}

std::string OptionName(const EffectOption& option) {
    return "--" + std::string(option.name) + " " + posteffect::ValueName(option);
}

std::string Manual() {
    std::string text;
    const auto plain = [](const std::string& words) { return Escaped(words, "_*\\"); };
    for (const EffectInfo& effect : posteffect::kEffects) {
        text += "\n# " + std::string(effect.nick) + "\n\n" + plain(effect.summary) + ". ";
        text += effect.cropsStills ? "Takes *--crop* in pictures.\n" : "Takes no *--crop*.\n";
        for (const EffectOption& option : effect.options) {
            text += "\n*" + OptionName(option) + "*\n\t" + plain(option.help) + " (" +
                    plain(option.unit) + "; " + plain(RangeText(option)) + ", default " +
                    plain(DefaultText(option)) + ")\n";
        }
    }
    return text;
}

std::string Page(const EffectInfo& effect) {
    if (effect.options.count == 0) return "The effect has no options of its own.\n";
    const auto cell = [](const std::string& words) { return Escaped(words, "|"); };
    std::string text = "| Option | Meaning | Unit | Range | Default |\n|---|---|---|---|---|\n";
    for (const EffectOption& option : effect.options) {
        text += "| `" + OptionName(option) + "` | " + cell(option.help) + " | " +
                cell(option.unit) + " | " + cell(RangeText(option)) + " | " +
                cell(DefaultText(option)) + " |\n";
    }
    return text;
}

}  // namespace

int main(int count, char** words) {
    const std::string kind = count > 1 ? words[1] : "";
    if (kind == "manual" && count == 2) return std::fputs(Manual().c_str(), stdout) < 0;
    if (kind == "page" && count == 3) {
        for (const EffectInfo& effect : posteffect::kEffects) {
            if (effect.nick == std::string(words[2])) {
                return std::fputs(Page(effect).c_str(), stdout) < 0;
            }
        }
    }
    std::fputs("use: posteffect_effect_texts manual | page NICK\n", stderr);
    return 2;
}
