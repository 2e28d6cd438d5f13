// A byte string that crosses the library's interface: both sides compile this header.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

namespace android {

class String8 {
  public:
    String8() = default;
    explicit String8(const char* text) : m_text(text != nullptr ? text : "") {}
    String8(const char* text, std::size_t length) : m_text(text, length) {}

    const char* string() const { return m_text.c_str(); }
    std::size_t size() const { return m_text.size(); }
    std::size_t length() const { return m_text.size(); }
    bool isEmpty() const { return m_text.empty(); }

    String8& append(const char* text) {
        m_text += text;
        return *this;
    }
    String8& append(const char* text, std::size_t length) {
        m_text.append(text, length);
        return *this;
    }
    String8& operator+=(const char* text) { return append(text); }
    String8& operator+=(const String8& other) {
        m_text += other.m_text;
        return *this;
    }
    bool operator==(const String8& other) const { return m_text == other.m_text; }
    bool operator!=(const String8& other) const { return m_text != other.m_text; }
    bool operator==(const char* text) const { return m_text == text; }
    bool operator!=(const char* text) const { return m_text != text; }
    bool operator<(const String8& other) const { return m_text < other.m_text; }

  private:
    std::string m_text;
};

}  // namespace android
