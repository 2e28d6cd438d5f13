// How a command ends early: with an exit code and one line that says what is wrong and what to do.
#pragma once

#include <stdexcept>
#include <string>

namespace posteffect {

enum ExitCode : int {
    kExitDone = 0,
    kExitSomeFailed = 1,
    kExitWrongUse = 2,
    kExitNoGpu = 3,
    kExitUnreadable = 4,
    kExitCannotWrite = 5,
    kExitUnsupported = 6,
    kExitPluginMissing = 7,
    kExitInterrupted = 130,
};

class Failure : public std::runtime_error {
  public:
    // `subject` is the file or option at fault; `fault` says what is wrong with it and the way out.
    Failure(ExitCode code, const std::string& subject, const std::string& fault)
        : std::runtime_error(subject + ": " + fault), m_code(code) {}

    ExitCode code() const { return m_code; }

  private:
    ExitCode m_code;
};

}  // namespace posteffect
