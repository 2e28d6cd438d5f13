#include "apps/posteffect/IccProfile.h"

#include <algorithm>
#include <cstddef>

#include "apps/posteffect/ByteReader.h"

namespace posteffect {
namespace {

constexpr std::uint32_t Tag(const char (&name)[5]) {
    std::uint32_t tag = 0;
    for (int i = 0; i < 4; ++i) tag = tag << 8U | static_cast<unsigned char>(name[i]);
    return tag;
}

void AppendUtf8(std::uint32_t character, std::string* text) {
    const auto add = [text](std::uint32_t byte) { text->push_back(static_cast<char>(byte)); };
    if (character < 0x80) {
        add(character);
    } else if (character < 0x800) {
        add(0xC0U | character >> 6U);
        add(0x80U | (character & 0x3FU));
    } else {
        add(0xE0U | character >> 12U);
        add(0x80U | (character >> 6U & 0x3FU));
        add(0x80U | (character & 0x3FU));
    }
}

// One byte a character, ended by a zero.
std::string Text(const ByteReader& bytes, std::size_t begin, std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        const auto byte = static_cast<char>(bytes.u8(begin + i));
        if (byte == '\0') break;
        text.push_back(byte);
    }
    return text;
}

// The first of its translations, in 16-bit characters.
std::string FirstTranslation(const ByteReader& bytes, std::size_t begin) {
    constexpr std::size_t kFirstRecord = 16;
    if (bytes.u32(begin + 8) == 0) return "";
    const std::size_t length = std::min<std::size_t>(bytes.u32(begin + kFirstRecord + 4), 1024);
    const std::size_t at = begin + bytes.u32(begin + kFirstRecord + 8);
    std::string text;
    for (std::size_t i = 0; i + 1 < length; i += 2) {
        const std::uint32_t character = bytes.u16(at + i);
        if (character == 0) break;
        AppendUtf8(character, &text);
    }
    return text;
}

std::string Trimmed(std::string name) {
    name.resize(name.find_last_not_of(' ') + 1);
    return name;
}

}  // namespace

std::string IccProfileName(const std::vector<std::uint8_t>& profile) {
    constexpr std::size_t kTagCount = 128;
    constexpr std::size_t kTagSize = 12;
    constexpr std::uint32_t kMaximumTags = 1000;
    const ByteReader bytes(profile, true);
    const std::uint32_t tags = std::min(bytes.u32(kTagCount), kMaximumTags);
    for (std::uint32_t i = 0; i < tags; ++i) {
        const std::size_t tag = kTagCount + 4 + i * kTagSize;
        if (bytes.u32(tag) != Tag("desc")) continue;
        const std::size_t begin = bytes.u32(tag + 4);
        if (bytes.u32(begin) == Tag("mluc")) return Trimmed(FirstTranslation(bytes, begin));
        if (bytes.u32(begin) != Tag("desc")) return "";
        return Trimmed(Text(bytes, begin + 12, std::min<std::size_t>(bytes.u32(begin + 8), 1024)));
    }
    return "";
}

}  // namespace posteffect
