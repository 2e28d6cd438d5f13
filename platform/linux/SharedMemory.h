// Anonymous memory with a descriptor, so that other processes and devices can share it.
#pragma once

#include <cstddef>

namespace platform {

struct SharedMemory {
    int fd = -1;
    void* base = nullptr;  // mapped for reading and writing, zeroed
};

// fd stays -1 when the memory could not be had.
SharedMemory AllocateShared(const char* name, std::size_t size);
void FreeShared(const SharedMemory& memory, std::size_t size);

}  // namespace platform
