#include "platform/linux/SharedMemory.h"

#include <sys/mman.h>
#include <unistd.h>

namespace platform {

SharedMemory AllocateShared(const char* name, std::size_t size) {
    SharedMemory memory;
    if (size == 0) return memory;
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
