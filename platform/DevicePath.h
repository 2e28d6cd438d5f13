// Files that the library knows by the paths they have on a phone: "/system/...", "/sdcard/...",
// "/data/...", "/dev/graphics/...". The platform decides which file such a path means.
// Thread: any.
#pragma once

#include <cstdio>
#include <string>

namespace platform {

// The file of this machine that stands for `devicePath` (absolute, NUL-terminated). The file need
// not exist. A path whose ".." would leave its root is confined to the root.
std::string ResolveDevicePath(const char* devicePath);

// Opens a file of this machine without waiting: a named pipe that nobody writes into reads as an
// empty file. The caller closes it. Null (with errno set) on failure.
std::FILE* OpenToRead(const char* path);

// fopen on the resolved path; to read, without waiting. The caller closes the file. Null (with
// errno set) on failure.
std::FILE* OpenDeviceFile(const char* devicePath, const char* mode);

// open(2) on the resolved path with O_CLOEXEC added. The caller closes the descriptor. -1 (with
// errno set) on failure.
int OpenDevice(const char* devicePath, int flags);

}  // namespace platform
