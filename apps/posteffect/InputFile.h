// Reads the file that a command works on.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace posteffect {

// What messages call this file: "-" is the standard input.
std::string InputName(const std::string& path);

// The whole file, or standard input for "-". Throws Failure: unreadable.
std::vector<std::uint8_t> ReadInput(const std::string& path);

}  // namespace posteffect
