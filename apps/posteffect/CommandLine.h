// From the words of the command line to the command that they call.
#pragma once

#include <string>
#include <vector>

namespace posteffect {

// Runs the command that `words` (without the program's name) ask for. The exit code; throws
// Failure, for wrong use too.
int RunCommandLine(const std::vector<std::string>& words);

}  // namespace posteffect
