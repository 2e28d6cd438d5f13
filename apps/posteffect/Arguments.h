// What a command takes: it names its operands, options and flags and where their words go.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace posteffect {

// Words arrive as they were typed; commands say what is wrong with them. `names` is like
// "-e,--effect", `valueName` what stands for the value in help texts.
class Arguments {
  public:
    virtual ~Arguments() = default;

    // Required, in the order of these calls.
    virtual void operand(const std::string& name, const std::string& help, std::string* word) = 0;
    // One or more; only as the last operand.
    virtual void operands(const std::string& name, const std::string& help,
                          std::vector<std::string>* words) = 0;
    // An option of a `group` stands under that heading; the last of several counts.
    virtual void option(const std::string& names, const std::string& valueName,
                        const std::string& help, std::optional<std::string>* word,
                        const std::string& group = "") = 0;
    // May be given several times.
    virtual void options(const std::string& names, const std::string& valueName,
                         const std::string& help, std::vector<std::string>* words) = 0;
    virtual void flag(const std::string& names, const std::string& help, bool* given) = 0;
};

class Command {
  public:
    virtual ~Command() = default;

    virtual const char* name() const = 0;
    virtual const char* summary() const = 0;
    // Adds the command's own; what the pointers point to lives in the command.
    virtual void declare(Arguments& arguments) = 0;
    // After the words have been read. The exit code; throws Failure.
    virtual int run() = 0;
};

// One line each in CommandLine.cpp's list.
std::unique_ptr<Command> MakePhotoCommand();
std::unique_ptr<Command> MakeVideoCommand();
std::unique_ptr<Command> MakeCameraCommand();
std::unique_ptr<Command> MakePipeCommand();
std::unique_ptr<Command> MakeListCommand();
std::unique_ptr<Command> MakeInspectCommand();
std::unique_ptr<Command> MakeGalleryCommand();
std::unique_ptr<Command> MakeBenchCommand();
std::unique_ptr<Command> MakeDoctorCommand();

}  // namespace posteffect
