// posteffect list: the effects with their options.
#pragma once

namespace posteffect {

struct ListOptions {
    bool json = false;
    bool all = false;  // also effects that are not part of this release
};

// Writes the list to standard output. The exit code.
int RunList(const ListOptions& options);

}  // namespace posteffect
