#include "apps/posteffect/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>

#include "apps/posteffect/Arguments.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/NearestName.h"
#include "apps/posteffect/StandardOutput.h"
#include "apps/posteffect/UnfinishedFile.h"

namespace posteffect {
namespace {

// clang-format off
constexpr std::unique_ptr<Command> (*kCommands[])() = {
    MakePhotoCommand,
#ifdef POSTEFFECT_HAS_GSTREAMER
    MakeVideoCommand,
    MakeCameraCommand,
#endif
    MakePipeCommand,
    MakeListCommand,
    MakeInspectCommand,
    MakeGalleryCommand,
    MakeBenchCommand,
    MakeDoctorCommand,
};
// clang-format on

// A command's words, read by CLI11.
class ParsedArguments : public Arguments {
  public:
    explicit ParsedArguments(CLI::App* app) : m_app(*app) {}

    void operand(const std::string& name, const std::string& help, std::string* word) override {
        m_app.add_option(name, *word, help)->type_name("")->required();
    }
    void operands(const std::string& name, const std::string& help,
                  std::vector<std::string>* words) override {
        m_app.add_option(name, *words, help)->type_name("")->required()->take_all();
    }
    void option(const std::string& names, const std::string& valueName, const std::string& help,
                std::optional<std::string>* word, const std::string& group) override {
        CLI::Option* option = m_app.add_option(names, *word, help)->type_name(valueName);
        if (!group.empty()) option->group(group);
    }
    void options(const std::string& names, const std::string& valueName, const std::string& help,
                 std::vector<std::string>* words) override {
        CLI::Option* option = m_app.add_option(names, *words, help)->type_name(valueName);
        option->take_all()->expected(1)->allow_extra_args(false);  // one word each time
    }
    void flag(const std::string& names, const std::string& help, bool* given) override {
        m_app.add_flag(names, *given, help);
    }

  private:
    CLI::App& m_app;
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
        for (const CLI::App* known : app.get_subcommands({})) names.push_back(known->get_name());
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

// Faults are told in one line of our own; what the library and the EGL loader say is for those who
// ask for it.
void QuietLibraries() {
    setenv("POSTEFFECT_LOG", "none", 0);
    setenv("EGL_LOG_LEVEL", "fatal", 0);
}

}  // namespace

int RunCommandLine(const std::vector<std::string>& words) {
    CLI::App app("GPU effects for photos and moving pictures.\n", "posteffect");
    app.set_help_flag("--help", "show this and end");
    app.set_version_flag("--version", "posteffect " POSTEFFECT_VERSION, "show the version and end");
    app.option_defaults()->take_last();
    app.allow_extras();
    std::vector<std::unique_ptr<Command>> commands;
    std::vector<std::string> names;
    for (const auto& make : kCommands) {
        commands.push_back(make());
        names.emplace_back(commands.back()->name());
        ParsedArguments arguments(app.add_subcommand(names.back(), commands.back()->summary()));
        commands.back()->declare(arguments);
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
    for (const auto& command : commands) {
        const CLI::App* chosen = app.get_subcommand(command->name());
        if (!chosen->parsed()) continue;
        CheckAllTaken(*chosen);
        QuietLibraries();
        InstallInterruptHandler();
        return command->run();
    }
    throw Failure(kExitWrongUse, "no command",
                  "choose " + JoinNames(names, "or") + " (posteffect --help tells more)");
}

}  // namespace posteffect
