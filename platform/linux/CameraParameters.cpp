#include <camera/CameraParameters.h>

#include <cstdlib>
#include <string_view>

namespace android {

String8 CameraParameters::flatten() const {
    String8 text;
    for (const auto& [key, value] : m_values) {
        if (!text.isEmpty()) text += ";";
        text.append(key.c_str(), key.size()).append("=").append(value.c_str(), value.size());
    }
    return text;
}

void CameraParameters::unflatten(const String8& flattened) {
    m_values.clear();
    std::string_view rest(flattened.string(), flattened.size());
    while (!rest.empty()) {
        const std::size_t end = rest.find(';');
        const std::string_view pair = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        const std::size_t equals = pair.find('=');
        if (equals == std::string_view::npos || equals == 0) continue;
        m_values[std::string(pair.substr(0, equals))] = pair.substr(equals + 1);
    }
}

void CameraParameters::set(const char* key, const char* value) {
    m_values[key] = value;
}

void CameraParameters::set(const char* key, int value) {
    m_values[key] = std::to_string(value);
}

const char* CameraParameters::get(const char* key) const {
    const auto found = m_values.find(std::string_view(key));
    return found != m_values.end() ? found->second.c_str() : nullptr;
}

int CameraParameters::getInt(const char* key) const {
    const char* value = get(key);
    return value != nullptr ? static_cast<int>(std::strtol(value, nullptr, 0)) : -1;
}

void CameraParameters::remove(const char* key) {
    m_values.erase(key);
}

}  // namespace android
