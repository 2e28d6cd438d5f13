#include <binder/MemoryHeapBase.h>

#include "platform/linux/SharedMemory.h"

namespace android {

MemoryHeapBase::MemoryHeapBase(std::size_t size, uint32_t, const char* name) : m_size(size) {
    const platform::SharedMemory memory =
        platform::AllocateShared(name != nullptr ? name : "MemoryHeapBase", size);
    m_fd = memory.fd;
    m_base = memory.base;
}

MemoryHeapBase::~MemoryHeapBase() {
    platform::FreeShared({m_fd, m_base}, m_size);
}

}  // namespace android
