#include "apps/posteffect/CommandLine.h"

#include <posteffect/EffectCatalog.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <optional>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/ListCommand.h"
#include "apps/posteffect/NearestName.h"
#include "apps/posteffect/OptionText.h"
#include "apps/posteffect/OutputFile.h"
#include "apps/posteffect/PhotoCommand.h"
#include "apps/posteffect/StandardOutput.h"

namespace posteffect {
namespace {

// The words as they came, before anything is known of what they must be.
struct RawPhoto {
    std::string input;
    std::string output;
    std::string effect;
    std::map<std::string, std::string> effectOptions;  // by name; only those that were given
    std::optional<std::string> crop;
    std::optional<std::string> block;
    std::optional<std::string> quality;
    bool force = false;
};

struct Raw {
    RawPhoto photo;
    ListOptions list;
};

std::vector<std::string> EffectNames() {
    std::vector<std::string> nicks;
    nicks.reserve(kEffectCount);
    for (const EffectInfo& effect : kEffects) {
        nicks.emplace_back(effect.nick);
    }
    return nicks;
}

void DeclareEffectOptions(CLI::App& app, RawPhoto& raw) {
    std::map<std::string, std::string> helps;
    for (const EffectInfo& effect : kEffects) {
        for (const EffectOption& option : effect.options) {
            std::string& help = helps[option.name];
            if (!help.empty()) help += "; ";
            help += std::string(effect.nick) + ": " + option.help + " (" + option.unit + "; " +
                    RangeText(option) + ", default " + DefaultText(option) + ")";
            CLI::Option* known = app.get_option_no_throw(std::string("--") + option.name);
            if (!known) {
                const std::string name = option.name;
                known = app.add_option_function<std::string>(
                    "--" + name,
                    [&raw, name](const std::string& text) { raw.effectOptions[name] = text; });
                known->type_name(ValueName(option))->group("Options of the effects");
            }
            known->description(help);
        }
    }
}

void DeclarePhoto(CLI::App& app, Raw& all) {
    RawPhoto& raw = all.photo;
    app.add_option("IN", raw.input, "the JPEG file to filter; - is standard input")
        ->type_name("")
        ->required();
    app.add_option("OUT", raw.output, "the JPEG file to write; - is standard output")
        ->type_name("")
        ->required();
    app.add_option("-e,--effect", raw.effect, "the effect: " + JoinNames(EffectNames(), "or"))
        ->type_name("NAME")
        ->required();
    DeclareEffectOptions(app, raw);
    app.add_option("--crop", raw.crop,
                   "show only this part, enlarged to the whole picture; fractions of the upright "
                   "picture")
        ->type_name("X,Y,W,H");
    app.add_option(
           "--block", raw.block,
           "filter in blocks of this size; both even; chosen for the picture by default. The "
           "library counts points in pixels of a block, so small blocks are coarse")
        ->type_name("WxH");
    app.add_option("--quality", raw.quality,
                   "of the JPEG written (1..100, default " + std::to_string(kDefaultQuality) + ")")
        ->type_name("Q");
    app.add_flag("--force", raw.force, "replace OUT if it exists");
}

void DeclareList(CLI::App& app, Raw& raw) {
    app.add_flag("--json", raw.list.json, "as JSON");
}

const EffectInfo& FindEffect(const std::string& nick) {
    for (const EffectInfo& effect : kEffects) {
        if (nick == effect.nick) return effect;
    }
    const std::string nearest = NearestName(nick, EffectNames());
    throw Failure(kExitWrongUse, "--effect " + nick,
                  nearest.empty() ? "no such effect: posteffect list names them"
                                  : "no such effect: did you mean " + nearest + "?");
}

OptionValues EffectValues(const EffectInfo& effect,
                          const std::map<std::string, std::string>& given) {
    OptionValues values = DefaultValues(effect);
    std::vector<std::string> taken;
    std::size_t used = 0;
    for (std::size_t i = 0; i < effect.options.count; ++i) {
        const EffectOption& option = effect.options.first[i];
        taken.push_back("--" + std::string(option.name));
        const auto text = given.find(option.name);
        if (text == given.end()) continue;
        values[i] = ParseOptionValue(option, text->second);
        ++used;
    }
    if (used == given.size()) return values;
    const auto stranger = std::find_if(given.begin(), given.end(), [&taken](const auto& option) {
        return std::find(taken.begin(), taken.end(), "--" + option.first) == taken.end();
    });
    throw Failure(kExitWrongUse, "--" + stranger->first,
                  std::string("effect ") + effect.nick + " does not take it: it takes " +
                      (taken.empty() ? "no options" : JoinNames(taken, "and")));
}

int CallPhoto(const Raw& all) {
    const RawPhoto& raw = all.photo;
    PhotoOptions options;
    options.input = raw.input;
    options.output = raw.output;
    options.force = raw.force;
    options.filter.effect = &FindEffect(raw.effect);
    options.filter.values = EffectValues(*options.filter.effect, raw.effectOptions);
    if (raw.crop) {
        if (!options.filter.effect->cropsStills) {
            throw Failure(kExitWrongUse, "--crop",
                          std::string("effect ") + options.filter.effect->nick +
                              " always shows the whole picture: leave it out");
        }
        options.filter.crop = ParseCrop(*raw.crop);
    }
    if (raw.block) options.filter.block = ParseBlock(*raw.block);
    if (raw.quality) options.quality = ParseQuality(*raw.quality);
    return RunPhoto(options);
}

struct Command {
    const char* name;
    const char* summary;
    void (*declare)(CLI::App& app, Raw& raw);
    int (*call)(const Raw& raw);
};

constexpr Command kCommands[] = {
    {"photo", "filter a photo", DeclarePhoto, CallPhoto},
    {"list", "name the effects with their options", DeclareList,
     [](const Raw& raw) { return RunList(raw.list); }},
};

// A word that nothing takes.
Failure Unexpected(const CLI::App& app, const std::string& word) {
    const bool option = word.size() > 1 && word[0] == '-';
    const bool command = !option && !app.get_parent();
    std::vector<std::string> names;
    if (option) {
        for (const CLI::Option* known : app.get_options()) {
            for (const std::string& name : known->get_lnames()) names.push_back("--" + name);
        }
    } else if (command) {
        for (const Command& known : kCommands) names.emplace_back(known.name);
    }
    const std::string word0 = word.substr(0, word.find('='));
    const std::string nearest = NearestName(word0, names);
    const std::string what = option    ? "no such option"
                             : command ? "no such command"
                                       : "one word too many";
    return {kExitWrongUse, word0,
            what + ": " +
                (nearest.empty()
                     ? "see posteffect " + (app.get_parent() ? app.get_name() + " " : "") + "--help"
                     : "did you mean " + nearest + "?")};
}

// Throws for what the parser let through so that the message can be a helpful one.
void CheckAllTaken(const CLI::App& app) {
    const std::vector<std::string> left = app.remaining();
    if (left.empty()) return;
    // A misspelt option explains the words that seem too many.
    const auto option = std::find_if(left.begin(), left.end(), [](const std::string& word) {
        return word.size() > 1 && word[0] == '-';
    });
    const bool misspeltCommand = !app.get_parent() && left.front()[0] != '-';
    throw Unexpected(app, option == left.end() || misspeltCommand ? left.front() : *option);
}

// What the parser found, in one line and with the help text that belongs to it.
Failure ParserFailure(const CLI::App& app, const CLI::ParseError& error) {
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    std::string command;
    for (const CLI::App* chosen : app.get_subcommands()) command = chosen->get_name() + " ";
    return {kExitWrongUse, command.empty() ? "command line" : command.substr(0, command.size() - 1),
            text + ": see posteffect " + command + "--help"};
}

}  // namespace

int RunCommandLine(const std::vector<std::string>& words) {
    CLI::App app("GPU effects for photos.\n", "posteffect");
    app.set_help_flag("--help", "show this and end");
    app.set_version_flag("--version", "posteffect " POSTEFFECT_VERSION, "show the version and end");
    app.option_defaults()->take_last();
    app.allow_extras();
    Raw raw;
    for (const Command& command : kCommands) {
        command.declare(*app.add_subcommand(command.name, command.summary), raw);
    }
    try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::CallForHelp&) {
        return WriteStandardOutput(app.help());
    } catch (const CLI::CallForVersion& version) {
        return WriteStandardOutput(std::string(version.what()) + "\n");
    } catch (const CLI::ParseError& error) {
        CheckAllTaken(app);
        for (const CLI::App* command : app.get_subcommands()) CheckAllTaken(*command);
        throw ParserFailure(app, error);
    }
    CheckAllTaken(app);
    for (const Command& command : kCommands) {
        const CLI::App* chosen = app.get_subcommand(command.name);
        if (!chosen->parsed()) continue;
        CheckAllTaken(*chosen);
        InstallInterruptHandler();
        return command.call(raw);
    }
    throw Failure(kExitWrongUse, "no command",
                  "choose photo or list (posteffect --help tells more)");
}

}  // namespace posteffect
