// posteffect list: the effects with their options.
#pragma once

namespace posteffect {

struct ListOptions {
    bool json = false;
};

// Writes the list to standard output. The exit code.
int RunList(const ListOptions& options);

}  // namespace posteffect
