#include "platform/DevicePath.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
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

// The file that this code was loaded from; empty when it cannot be told.
std::string OwnFile() {
    Dl_info info = {};
    if (dladdr(reinterpret_cast<const void*>(&ResolveDevicePath), &info) == 0) return "";
    const std::string_view name = info.dli_fname;
    // An executable's name may be as it was typed, without a folder.
    const char* file = name.find('/') == std::string_view::npos ? "/proc/self/exe" : info.dli_fname;
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    const std::unique_ptr<char, Free> whole(realpath(file, nullptr));
    return whole ? whole.get() : "";
}

// Where look-up files may lie: under share beside the library's folder, or beside the folder above
// where libraries have one for each machine type. A prefix that was moved keeps working so, and a
// build tree needs nothing of its own. Then where they were to be installed.
std::vector<std::string> DataFolders() {
    std::vector<std::string> folders;
    std::string folder = OwnFile();
    folder.resize(std::min(folder.size(), folder.rfind('/')));
    for (int level = 0; level < 2 && !folder.empty(); ++level) {
        folder.resize(std::min(folder.size(), folder.rfind('/')));
        folders.push_back(folder + "/share/posteffect");
    }
    folders.emplace_back(POSTEFFECT_DATA_DIR);
    return folders;
}

}  // namespace

std::string ResolveDevicePath(const char* devicePath) {
    std::string path = Confined(devicePath);
    const std::string root = SysRoot();
    if (!root.empty()) return root + path;
    if (Exists(path)) return path;
    // Never destroyed: workers use them while the process ends.
    static const auto& folders = *new std::vector<std::string>(DataFolders());
    for (const std::string& folder : folders) {
        std::string candidate = folder + path;
        if (Exists(candidate)) return candidate;
    }
    return path;
}

std::FILE* OpenToRead(const char* path) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    std::FILE* const file = fd < 0 ? nullptr : fdopen(fd, "rb");
    if (file == nullptr && fd >= 0) close(fd);
    return file;
}

std::FILE* OpenDeviceFile(const char* devicePath, const char* mode) {
    const std::string path = ResolveDevicePath(devicePath);
    return mode[0] == 'r' ? OpenToRead(path.c_str()) : std::fopen(path.c_str(), mode);
}

int OpenDevice(const char* devicePath, int flags) {
    return open(ResolveDevicePath(devicePath).c_str(), flags | O_CLOEXEC);
}

}  // namespace platform
