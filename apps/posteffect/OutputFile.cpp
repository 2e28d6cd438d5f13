#include "apps/posteffect/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/FileDescriptor.h"

namespace posteffect {
namespace {

// The half-written file that the signal handler has to remove. Written before the file exists,
// cleared after it has its final name, so there is no moment at which one could be left behind.
// There is one at a time.
std::mutex g_unfinishedMutex;
std::array<char, PATH_MAX> g_unfinished;
std::atomic<bool> g_hasUnfinished{false};
static_assert(std::atomic<bool>::is_always_lock_free);

void OnInterrupt(int signal) {
    if (g_hasUnfinished.load()) unlink(g_unfinished.data());
    _exit(128 + signal);
}

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

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

// A file beside its final place; removed at the end of the scope unless it was moved there.
class UnfinishedFile {
  public:
    UnfinishedFile(const std::string& folder, mode_t mode)
        : m_fd(create(folder, mode)), m_exists(m_fd.valid()) {}
    ~UnfinishedFile() {
        if (m_exists) unlink(g_unfinished.data());
        g_hasUnfinished.store(false);
    }
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    bool valid() const { return m_exists; }
    int get() const { return m_fd.get(); }

    // Both return 0, or errno.
    int finish() {
        if (fsync(m_fd.get()) != 0 && errno != EINVAL) return errno;
        return m_fd.close() ? 0 : errno;
    }
    int moveTo(const std::string& path, bool overwrite) {
        const char* from = g_unfinished.data();
        const unsigned flags = overwrite ? 0U : unsigned{RENAME_NOREPLACE};
        if (renameat2(AT_FDCWD, from, AT_FDCWD, path.c_str(), flags) == 0) {
            m_exists = false;
            return 0;
        }
        if (overwrite || (errno != EINVAL && errno != ENOSYS)) return errno;
        // A file system that cannot rename with care: a second name never replaces anything.
        return link(from, path.c_str()) == 0 ? 0 : errno;
    }

  private:
    static int create(const std::string& folder, mode_t mode) {
        constexpr int kTries = 100;
        for (int i = 0; i < kTries; ++i) {
            const int length =
                std::snprintf(g_unfinished.data(), g_unfinished.size(), "%s/.posteffect-%ld-%d.tmp",
                              folder.c_str(), static_cast<long>(getpid()), i);
            if (length < 0 || static_cast<std::size_t>(length) >= g_unfinished.size()) {
                errno = ENAMETOOLONG;
                return -1;
            }
            g_hasUnfinished.store(true);
            const int fd = open(g_unfinished.data(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
            if (fd >= 0) return fd;
            g_hasUnfinished.store(false);
            if (errno != EEXIST) break;
        }
        return -1;
    }

    FileDescriptor m_fd;
    bool m_exists;  // under its first name
};

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
    const std::lock_guard<std::mutex> lock(g_unfinishedMutex);
    UnfinishedFile file(FolderOf(m_path), m_mode != 0 ? 0600 : 0666);
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

void InstallInterruptHandler() {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that went away is an error of write
    struct sigaction action = {};
    action.sa_handler = OnInterrupt;
    sigfillset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction old = {};
        // Who starts us with a signal ignored (nohup) wants it ignored.
        if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue;
        sigaction(signal, &action, nullptr);
    }
}

}  // namespace posteffect
