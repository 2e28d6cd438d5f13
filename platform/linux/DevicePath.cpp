#include "platform/DevicePath.h"

#include <fcntl.h>
#include <unistd.h>

#include <string_view>
#include <vector>

#include "platform/linux/Environment.h"

namespace platform {

namespace {

bool Exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

// The path without ".", ".." and repeated slashes, beginning with a slash; ".." at the top stays
// there.
std::string Confined(std::string_view path) {
    std::vector<std::string_view> parts;
    while (!path.empty()) {
        const std::size_t slash = path.find('/');
        const std::string_view part = path.substr(0, slash);
        path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
        if (part.empty() || part == ".") continue;
        if (part != "..") {
            parts.push_back(part);
        } else if (!parts.empty()) {
            parts.pop_back();
        }
    }
    std::string whole;
    for (const std::string_view part : parts) whole.append("/").append(part);
    return whole.empty() ? "/" : whole;
}

}  // namespace

std::string ResolveDevicePath(const char* devicePath) {
    std::string path = Confined(devicePath);
    const std::string root = SysRoot();
    if (!root.empty()) return root + path;
    if (Exists(path)) return path;
    for (const char* folder : {POSTEFFECT_DATA_DIR, POSTEFFECT_BUILD_DATA_DIR}) {
        std::string candidate = folder + path;
        if (Exists(candidate)) return candidate;
    }
    return path;
}

std::FILE* OpenDeviceFile(const char* devicePath, const char* mode) {
    return std::fopen(ResolveDevicePath(devicePath).c_str(), mode);
}

int OpenDevice(const char* devicePath, int flags) {
    return open(ResolveDevicePath(devicePath).c_str(), flags | O_CLOEXEC);
}

}  // namespace platform
