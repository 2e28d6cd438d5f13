// Memory for pixels, which whoever asks for it fills: it is not cleared first, and where it is
// large the system is asked for large pages, which cost a fraction of the page faults.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>
#include <vector>

namespace posteffect {

template <typename T>
class PixelAllocator {
  public:
    using value_type = T;

    PixelAllocator() = default;
    template <typename U>
    explicit PixelAllocator(const PixelAllocator<U>&) {}

    T* allocate(std::size_t count) {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_alloc();
        const std::size_t size = count * sizeof(T);
        if (size < kLarge) return static_cast<T*>(::operator new(size));
        // Straight from the system, which has it back at once.
        void* memory =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::bad_alloc();
        madvise(memory, size, MADV_HUGEPAGE);  // a wish
        return static_cast<T*>(memory);
    }
    void deallocate(T* memory, std::size_t count) {
        const std::size_t size = count * sizeof(T);
        if (size < kLarge) {
            ::operator delete(memory);
        } else {
            munmap(memory, size);
        }
    }

    // Elements without a value are left as the memory has them.
    template <typename U>
    void construct(U* place) {
        ::new (static_cast<void*>(place)) U;
    }
    template <typename U, typename... Values>
    void construct(U* place, Values&&... values) {
        ::new (static_cast<void*>(place)) U(std::forward<Values>(values)...);
    }

    friend bool operator==(const PixelAllocator&, const PixelAllocator&) { return true; }
    friend bool operator!=(const PixelAllocator&, const PixelAllocator&) { return false; }

  private:
    static constexpr std::size_t kLarge = std::size_t{4} << 20;  // two large pages
};

using PixelBytes = std::vector<std::uint8_t, PixelAllocator<std::uint8_t>>;

}  // namespace posteffect
