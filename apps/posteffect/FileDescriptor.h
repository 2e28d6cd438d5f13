// An open file, closed at the end of its scope.
#pragma once

#include <unistd.h>

namespace posteffect {

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor() { close(); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool valid() const { return m_fd >= 0; }
    int get() const { return m_fd; }

    void reset(int fd) {
        close();
        m_fd = fd;
    }
    // False (with errno set) when what was written did not reach the file.
    bool close() {
        const int fd = m_fd;
        m_fd = -1;
        return fd < 0 || ::close(fd) == 0;
    }

  private:
    int m_fd;
};

}  // namespace posteffect
