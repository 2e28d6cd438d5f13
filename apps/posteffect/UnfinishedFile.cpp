#include "apps/posteffect/UnfinishedFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

namespace posteffect {
namespace {

constexpr std::size_t kMostAtATime = 4;
std::array<UnfinishedFile::Slot, kMostAtATime> g_slots;
// Files are being made, with their threads' signals held back; the process is ending.
std::atomic<int> g_making{0};
std::atomic<bool> g_ending{false};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void OnInterrupt(int signal) {
    g_ending.store(true);
    // On other threads only: here the signal would have been held back.
    constexpr timespec kMoment = {0, 1000000};
    while (g_making.load() != 0) nanosleep(&kMoment, nullptr);
    for (const UnfinishedFile::Slot& slot : g_slots) {
        if (slot.exists.load()) unlink(slot.path.data());
    }
    _exit(128 + signal);
}

// While it lives a file may be made and noted down; the handler comes before or after both.
class Making {
  public:
    Making() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
        ++g_making;
        if (!g_ending.load()) return;
        --g_making;
        for (;;) pause();
    }
    ~Making() {
        --g_making;
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    Making(const Making&) = delete;
    Making& operator=(const Making&) = delete;

  private:
    sigset_t m_before{};
};

UnfinishedFile::Slot* TakeSlot() {
    for (UnfinishedFile::Slot& slot : g_slots) {
        if (!slot.taken.exchange(true)) return &slot;
    }
    errno = EMFILE;
    return nullptr;
}

int Create(const std::string& place, mode_t mode, UnfinishedFile::Slot* slot) {
    const std::string folder = FolderOf(place);
    constexpr int kTries = 100;
    for (int i = 0; i < kTries; ++i) {
        const int length =
            std::snprintf(slot->path.data(), slot->path.size(), "%s/.posteffect-%ld-%d.tmp",
                          folder.c_str(), static_cast<long>(getpid()), i);
        if (length < 0 || static_cast<std::size_t>(length) >= slot->path.size()) {
            errno = ENAMETOOLONG;
            return -1;
        }
        const Making making;
        const int fd = open(slot->path.data(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        slot->exists.store(fd >= 0);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

}  // namespace

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

UnfinishedFile::UnfinishedFile(const std::string& place, mode_t mode) : m_file(-1) {
    Slot* slot = TakeSlot();
    if (slot == nullptr) return;
    m_file.reset(Create(place, mode, slot));
    if (m_file.valid()) {
        m_slot = slot;
    } else {
        slot->taken.store(false);
    }
}

UnfinishedFile::~UnfinishedFile() {
    if (m_slot == nullptr) return;
    if (m_slot->exists.load()) unlink(m_slot->path.data());
    m_slot->exists.store(false);
    m_slot->taken.store(false);
}

int UnfinishedFile::finish() {
    if (fsync(m_file.get()) != 0 && errno != EINVAL) return errno;
    return m_file.close() ? 0 : errno;
}

int UnfinishedFile::moveTo(const std::string& place, bool overwrite) {
    const char* from = m_slot->path.data();
    const unsigned flags = overwrite ? 0U : unsigned{RENAME_NOREPLACE};
    if (renameat2(AT_FDCWD, from, AT_FDCWD, place.c_str(), flags) == 0) {
        m_slot->exists.store(false);
        return 0;
    }
    if (overwrite || (errno != EINVAL && errno != ENOSYS)) return errno;
    // A file system that cannot rename with care: a second name never replaces anything.
    return link(from, place.c_str()) == 0 ? 0 : errno;
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
