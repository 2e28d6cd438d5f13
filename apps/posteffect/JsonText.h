// JSON as commands print it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace posteffect {

// File names and texts from files need not be UTF-8: what is not is replaced.
inline std::string JsonText(const nlohmann::ordered_json& json) {
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace posteffect
