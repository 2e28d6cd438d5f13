#include "platform/linux/SharedMemory.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

namespace platform {

namespace {

// Shared memory counts as a file: one beyond the process's limit raises a signal that ends it.
bool IsWithinFileLimit(std::size_t size) {
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) != 0 || size <= limit.rlim_cur;
}

}  // namespace

SharedMemory AllocateShared(const char* name, std::size_t size) {
    SharedMemory memory;
    if (size == 0 || !IsWithinFileLimit(size)) return memory;
    const int fd = memfd_create(name, MFD_CLOEXEC);
    if (fd < 0) return memory;
    void* base = MAP_FAILED;
    if (ftruncate(fd, static_cast<off_t>(size)) == 0) {
        base = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    }
    if (base == MAP_FAILED) {
        close(fd);
        return memory;
    }
    memory.fd = fd;
    memory.base = base;
    return memory;
}

void FreeShared(const SharedMemory& memory, std::size_t size) {
    if (memory.fd < 0) return;
    munmap(memory.base, size);
    close(memory.fd);
}

}  // namespace platform
