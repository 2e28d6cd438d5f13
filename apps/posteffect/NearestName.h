// Finds the name that a misspelt word most likely meant.
#pragma once

#include <string>
#include <vector>

namespace posteffect {

// The nearest of `names` by insertions, deletions, replacements and swaps of neighbours, whatever
// the case; empty when none is near enough to be worth offering.
std::string NearestName(const std::string& word, const std::vector<std::string>& names);

// "a", "a or b", "a, b or c"; `last` is the joining word.
std::string JoinNames(const std::vector<std::string>& names, const std::string& last);

}  // namespace posteffect
