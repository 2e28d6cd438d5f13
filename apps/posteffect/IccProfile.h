// What a colour profile calls itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace posteffect {

// UTF-8; empty when the profile has no name that can be read.
std::string IccProfileName(const std::vector<std::uint8_t>& profile);

}  // namespace posteffect
