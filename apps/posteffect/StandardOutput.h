// Results in text form.
#pragma once

#include <cstdio>
#include <string>

#include "apps/posteffect/Failure.h"

namespace posteffect {

// Writes the whole text. The exit code for success; throws Failure when it cannot be written.
inline int WriteStandardOutput(const std::string& text) {
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (std::fflush(stdout) != 0 || !written) {
        throw Failure(kExitCannotWrite, "standard output",
                      "cannot be written: check where it leads");
    }
    return kExitDone;
}

}  // namespace posteffect
