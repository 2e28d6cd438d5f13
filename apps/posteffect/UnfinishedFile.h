// A file under a passing name beside its place, until it is whole. Nothing leaves one behind: not
// an error, and not a signal that ends the process.
#pragma once

#include <sys/types.h>

#include <array>
#include <atomic>
#include <climits>
#include <string>

#include "apps/posteffect/FileDescriptor.h"

namespace posteffect {

class UnfinishedFile {
  public:
    // Makes an empty file in the folder of `place`; not valid() (with errno set) when it cannot.
    UnfinishedFile(const std::string& place, mode_t mode);
    // Removes the file unless it was moved.
    ~UnfinishedFile();
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    bool valid() const { return m_slot != nullptr; }
    int get() const { return m_file.get(); }
    const char* path() const { return m_slot->path.data(); }

    // All of it to the disk, then to its place; without `overwrite` nothing is replaced (EEXIST).
    // Both return 0, or errno.
    int finish();
    int moveTo(const std::string& place, bool overwrite);

    // What a signal handler has to remove. There are few at a time.
    struct Slot {
        std::array<char, PATH_MAX> path{};
        std::atomic<bool> taken{false};
        std::atomic<bool> exists{false};
    };

  private:
    FileDescriptor m_file;
    Slot* m_slot = nullptr;
};

// From here on SIGINT, SIGTERM and SIGHUP end the process at once with 128 + signal (130 for
// SIGINT) and remove unfinished files.
void InstallInterruptHandler();

// The folder that a file lies in.
std::string FolderOf(const std::string& path);

}  // namespace posteffect
