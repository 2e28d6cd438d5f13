#include "apps/posteffect/InputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/FileDescriptor.h"

namespace posteffect {
namespace {

constexpr std::size_t kMaximumBytes = std::size_t{1} << 31;
constexpr std::size_t kChunk = std::size_t{1} << 16;
constexpr int kWriterWait = 1000;  // milliseconds that a named pipe has to find somebody who writes

// Grows with what arrives, so that pipes work and an endless device ends at the limit.
std::vector<std::uint8_t> ReadAll(int fd, const std::string& name, std::size_t expected) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(expected);
    std::size_t filled = 0;
    for (;;) {
        bytes.resize(filled + kChunk);
        const ssize_t count = read(fd, bytes.data() + filled, kChunk);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            throw Failure(kExitUnreadable, name,
                          std::string("cannot be read (") + std::strerror(errno) + ")" +
                              (errno == EISDIR ? ": name a file in it" : ": check the file"));
        }
        filled += static_cast<std::size_t>(count);
        if (filled > kMaximumBytes) {
            throw Failure(kExitUnreadable, name, "larger than 2 GiB: give a picture");
        }
        if (count == 0) break;
    }
    bytes.resize(filled);
    if (bytes.empty()) throw Failure(kExitUnreadable, name, "the file is empty: give a picture");
    return bytes;
}

// Until something arrives or nobody has come to write, which reads as an empty file then. Whoever
// has come may take as long as it takes.
void WaitForWriter(int fd) {
    pollfd pipe = {fd, POLLIN, 0};
    poll(&pipe, 1, kWriterWait);
}

}  // namespace

std::string InputName(const std::string& path) {
    return path == "-" ? "standard input" : path;
}

std::vector<std::uint8_t> ReadInput(const std::string& path) {
    if (path == "-") return ReadAll(STDIN_FILENO, InputName(path), kChunk);
    // A named pipe is not waited for here.
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.valid()) {
        throw Failure(kExitUnreadable, path,
                      std::string("cannot be opened (") + std::strerror(errno) +
                          "): check the name and the permissions");
    }
    struct stat status = {};
    const mode_t mode = fstat(file.get(), &status) == 0 ? status.st_mode : 0;
    if ((S_ISCHR(mode) || S_ISBLK(mode)) && isatty(file.get()) == 0) {
        throw Failure(kExitUnreadable, path, "a device: give a picture");
    }
    if (S_ISFIFO(mode)) WaitForWriter(file.get());
    fcntl(file.get(), F_SETFL, 0);
    const bool regular = S_ISREG(mode);
    const std::size_t size = regular ? static_cast<std::size_t>(status.st_size) : 0;
    return ReadAll(file.get(), path, size < kMaximumBytes ? size + kChunk : kChunk);
}

}  // namespace posteffect
