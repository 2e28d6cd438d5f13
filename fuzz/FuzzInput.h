// Reads values off a fuzzer's bytes; zeros once they are used up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

class FuzzInput {
  public:
    FuzzInput(const std::uint8_t* bytes, std::size_t size) : m_bytes(bytes), m_left(size) {}

    template <typename T>
    T take() {
        T value{};
        const std::size_t count = m_left < sizeof(T) ? m_left : sizeof(T);
        if (count > 0) std::memcpy(&value, m_bytes, count);
        m_bytes += count;
        m_left -= count;
        return value;
    }
    // 0 .. bound - 1. Takes no more bytes than the bound needs: short inputs say more.
    int below(int bound) {
        const auto most = static_cast<unsigned>(bound);
        if (most <= 0x100) return static_cast<int>(take<std::uint8_t>() % most);
        if (most <= 0x10000) return static_cast<int>(take<std::uint16_t>() % most);
        return static_cast<int>(take<std::uint32_t>() % most);
    }
    std::string text(std::size_t most) {
        const std::size_t count = m_left < most ? m_left : most;
        std::string text(reinterpret_cast<const char*>(m_bytes), count);
        m_bytes += count;
        m_left -= count;
        return text;
    }
    bool empty() const { return m_left == 0; }

  private:
    const std::uint8_t* m_bytes;
    std::size_t m_left;
};

// What must hold; a fuzzer takes the abort for a finding.
#define FUZZ_CHECK(condition)               \
    do {                                    \
        if (!(condition)) __builtin_trap(); \
    } while (false)
