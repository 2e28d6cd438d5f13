// Memory for pixels, which whoever asks for it fills: it is not cleared first, and where it is
// large the system is asked for large pages, which cost a fraction of the page faults.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace posteffect {

class PixelBytes {
  public:
    PixelBytes() = default;
    explicit PixelBytes(std::size_t size) : m_bytes(Allocate(size)), m_size(size) {}
    // All zeros: large memory comes so from the system, and stays untouched until it is written.
    static PixelBytes Cleared(std::size_t size) {
        PixelBytes bytes(size);
        if (size < kLarge) std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
        return bytes;
    }
    PixelBytes(const PixelBytes& other) : PixelBytes(other.size()) {
        std::copy(other.begin(), other.end(), begin());
    }
    // What was moved away leaves nothing.
    PixelBytes(PixelBytes&& other) noexcept { swap(other); }
    PixelBytes& operator=(PixelBytes other) noexcept {
        swap(other);
        return *this;
    }
    ~PixelBytes() {
        if (m_size < kLarge) {
            ::operator delete(m_bytes);
        } else {
            munmap(m_bytes, m_size);
        }
    }

    void swap(PixelBytes& other) noexcept {
        std::swap(m_bytes, other.m_bytes);
        std::swap(m_size, other.m_size);
    }

    std::size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    std::uint8_t* data() { return m_bytes; }
    const std::uint8_t* data() const { return m_bytes; }
    std::uint8_t* begin() { return data(); }
    const std::uint8_t* begin() const { return data(); }
    std::uint8_t* end() { return data() + size(); }
    const std::uint8_t* end() const { return data() + size(); }
    std::uint8_t& operator[](std::size_t index) { return m_bytes[index]; }
    const std::uint8_t& operator[](std::size_t index) const { return m_bytes[index]; }

    friend bool operator==(const PixelBytes& a, const PixelBytes& b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

  private:
    static constexpr std::size_t kLarge = std::size_t{4} << 20;  // two large pages

    static std::uint8_t* Allocate(std::size_t size) {
        if (size < kLarge) return static_cast<std::uint8_t*>(::operator new(size));
        // Straight from the system, which has it back at once.
        void* memory =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::bad_alloc();
        madvise(memory, size, MADV_HUGEPAGE);  // a wish
        return static_cast<std::uint8_t*>(memory);
    }

    std::uint8_t* m_bytes = nullptr;
    std::size_t m_size = 0;
};

}  // namespace posteffect
