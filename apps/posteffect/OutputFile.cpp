#include "apps/posteffect/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/FileDescriptor.h"
#include "apps/posteffect/UnfinishedFile.h"

namespace posteffect {
namespace {

// Files of several threads are written one after the other.
std::mutex g_writeMutex;

Failure CannotWrite(const std::string& name, int error, const char* wayOut) {
    return {kExitCannotWrite, name,
            std::string("cannot be written (") + std::strerror(error) + "): " + wayOut};
}

// 0, or errno.
int WriteAll(int fd, const std::vector<std::uint8_t>& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = write(fd, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        done += static_cast<std::size_t>(count);
    }
    return 0;
}

}  // namespace

OutputFile::OutputFile(const std::string& path, const std::string& input, bool overwrite)
    : m_name(path), m_path(path), m_overwrite(overwrite) {
    if (path == "-") {
        m_name = "standard output";
        m_kind = Kind::kStandardOutput;
        if (isatty(STDOUT_FILENO)) {
            throw Failure(kExitCannotWrite, m_name,
                          "is a terminal: send it to a file or a pipe, or name a file");
        }
        return;
    }
    checkExisting(input);
    if (m_kind == Kind::kFile) checkFolder();
}

void OutputFile::checkExisting(const std::string& input) {
    struct stat link = {};
    if (lstat(m_path.c_str(), &link) != 0) {
        if (errno == ENOENT) return;
        throw CannotWrite(m_name, errno, "check the path");
    }
    struct stat status = link;
    if (S_ISLNK(link.st_mode) && stat(m_path.c_str(), &status) == 0) {
        // What a link points to is replaced, not the link.
        if (char* resolved = realpath(m_path.c_str(), nullptr)) {
            m_path = resolved;
            std::free(resolved);
        }
    }
    if (S_ISDIR(status.st_mode)) {
        throw Failure(kExitCannotWrite, m_name, "is a folder: name a file in it");
    }
    if (S_ISCHR(status.st_mode) || S_ISFIFO(status.st_mode)) {
        m_kind = Kind::kStream;
        return;
    }
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        throw Failure(kExitCannotWrite, m_name, "is no ordinary file: name another");
    }
    if (m_overwrite) {
        m_mode = status.st_mode & 0777U;
        return;
    }
    struct stat source = {};
    const bool same = stat(input.c_str(), &source) == 0 && source.st_dev == status.st_dev &&
                      source.st_ino == status.st_ino;
    throw Failure(kExitCannotWrite, m_name,
                  same ? "is the input itself: name another file, or add --force to replace it"
                       : "exists already: name another file, or add --force to replace it");
}

void OutputFile::checkFolder() const {
    const std::string folder = FolderOf(m_path);
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0) {
        throw CannotWrite(m_name, errno, "create its folder first");
    }
    if (!S_ISDIR(status.st_mode)) throw CannotWrite(m_name, ENOTDIR, "check the path");
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
        throw CannotWrite(m_name, errno, "choose a folder that you may write to");
    }
    if (m_path.empty() || m_path.back() == '/') {
        throw Failure(kExitCannotWrite, m_name, "is no file name: name a file");
    }
}

void OutputFile::write(const std::vector<std::uint8_t>& bytes) const {
    constexpr char kWayOut[] = "check that its reader is there and takes it";
    if (m_kind == Kind::kFile) {
        writeBeside(bytes);
    } else if (m_kind == Kind::kStandardOutput) {
        if (const int error = WriteAll(STDOUT_FILENO, bytes)) {
            throw CannotWrite(m_name, error, kWayOut);
        }
    } else {
        FileDescriptor stream(open(m_path.c_str(), O_WRONLY | O_CLOEXEC));
        if (!stream.valid()) throw CannotWrite(m_name, errno, kWayOut);
        if (const int error = WriteAll(stream.get(), bytes)) {
            throw CannotWrite(m_name, error, kWayOut);
        }
        if (!stream.close()) throw CannotWrite(m_name, errno, kWayOut);
    }
}

void OutputFile::writeBeside(const std::vector<std::uint8_t>& bytes) const {
    const std::lock_guard<std::mutex> lock(g_writeMutex);
    UnfinishedFile file(m_path, m_mode != 0 ? 0600 : 0666);
    if (!file.valid()) throw CannotWrite(m_name, errno, "choose a folder that you may write to");
    int error = WriteAll(file.get(), bytes);
    if (error == 0 && m_mode != 0 && fchmod(file.get(), m_mode) != 0) error = errno;
    if (error == 0) error = file.finish();
    if (error == 0) error = file.moveTo(m_path, m_overwrite);
    if (error == EEXIST) {
        throw Failure(kExitCannotWrite, m_name,
                      "came up meanwhile: name another file, or add --force to replace it");
    }
    if (error != 0) throw CannotWrite(m_name, error, "make room, or choose another place");
}

}  // namespace posteffect
