// Numbers in somebody else's file, which may end anywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace posteffect {

// What lies behind the end reads as zeros.
class ByteReader {
  public:
    ByteReader(const std::vector<std::uint8_t>& bytes, bool bigEndian)
        : m_bytes(bytes), m_bigEndian(bigEndian) {}

    std::uint32_t u8(std::size_t at) const { return at < m_bytes.size() ? m_bytes[at] : 0; }
    std::uint32_t u16(std::size_t at) const {
        return m_bigEndian ? u8(at) << 8U | u8(at + 1) : u8(at + 1) << 8U | u8(at);
    }
    std::uint32_t u32(std::size_t at) const {
        return m_bigEndian ? u16(at) << 16U | u16(at + 2) : u16(at + 2) << 16U | u16(at);
    }
    bool has(std::size_t at, const char* text, std::size_t length) const {
        return at <= m_bytes.size() && length <= m_bytes.size() - at &&
               std::memcmp(m_bytes.data() + at, text, length) == 0;
    }
    std::size_t size() const { return m_bytes.size(); }

  private:
    const std::vector<std::uint8_t>& m_bytes;
    bool m_bigEndian;
};

}  // namespace posteffect
