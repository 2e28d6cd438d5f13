// Memory for tests that hunt stray accesses: it lies against a page that cannot be touched.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace testing_support {

// Where the guard page touches the buffer: behind its last byte or before its first.
enum class Guard { kBehind, kBefore };

class GuardedBuffer {
  public:
    // `size` zeroed bytes.
    explicit GuardedBuffer(std::size_t size, Guard guard = Guard::kBehind) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t usable = (size + page - 1) / page * page;
        m_mapped = usable + page;
        void* base =
            mmap(nullptr, m_mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base == MAP_FAILED) std::abort();
        m_base = static_cast<uint8_t*>(base);
        const bool before = guard == Guard::kBefore;
        if (mprotect(before ? m_base : m_base + usable, page, PROT_NONE) != 0) std::abort();
        m_data = before ? m_base + page : m_base + usable - size;
    }
    ~GuardedBuffer() {
        if (m_base != nullptr) munmap(m_base, m_mapped);
    }
    GuardedBuffer(GuardedBuffer&& other) noexcept
        : m_base(other.m_base), m_mapped(other.m_mapped), m_data(other.m_data) {
        other.m_base = nullptr;
    }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    uint8_t* data() { return m_data; }
    const uint8_t* data() const { return m_data; }

  private:
    uint8_t* m_base;
    std::size_t m_mapped;
    uint8_t* m_data;
};

}  // namespace testing_support
