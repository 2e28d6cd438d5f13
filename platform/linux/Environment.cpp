#include "platform/linux/Environment.h"

#include <cstdlib>

namespace platform {

namespace {

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

}  // namespace

std::string LogLevels() {
    return Variable("POSTEFFECT_LOG");
}

std::string SysRoot() {
    return Variable("POSTEFFECT_SYSROOT");
}

std::string EglPlatform() {
    return Variable("POSTEFFECT_EGL");
}

bool HasWindowSystem() {
    return !Variable("DISPLAY").empty() || !Variable("WAYLAND_DISPLAY").empty() ||
           !Variable("EGL_PLATFORM").empty();
}

}  // namespace platform
