// A fuzzer's bytes as a file that has a path.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

class FuzzFile {
  public:
    FuzzFile(const std::uint8_t* bytes, std::size_t size)
        : m_fd(memfd_create("fuzz", MFD_CLOEXEC)) {
        if (write(m_fd, bytes, size) != static_cast<ssize_t>(size)) __builtin_trap();
    }
    ~FuzzFile() { close(m_fd); }
    FuzzFile(const FuzzFile&) = delete;
    FuzzFile& operator=(const FuzzFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

  private:
    int m_fd;
};
