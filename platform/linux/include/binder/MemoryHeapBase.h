// Anonymous shared memory with a descriptor.
#pragma once

#include <utils/RefBase.h>

#include <cstddef>
#include <cstdint>

namespace android {

class MemoryHeapBase : public RefBase {
  public:
    // Flags are the platform's; here they change nothing. The memory is zeroed.
    explicit MemoryHeapBase(std::size_t size, uint32_t flags = 0, const char* name = nullptr);

    // Negative when the memory could not be had.
    int getHeapID() const { return m_fd; }
    void* getBase() const { return m_base; }
    std::size_t getSize() const { return m_size; }

  protected:
    ~MemoryHeapBase() override;

  private:
    int m_fd = -1;
    void* m_base = nullptr;
    std::size_t m_size = 0;
};

}  // namespace android
