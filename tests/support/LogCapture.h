// Collects the library's log lines while it lives. Linking this file switches every log level on
// and keeps lines off stderr.
#pragma once

#include <string>
#include <vector>

namespace testing_support {

// One at a time. Thread: lines may come from any thread; read them when no other thread logs.
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Texts of the tag's lines, in order.
    std::vector<std::string> texts(const std::string& tag) const;
    // Texts of error lines of every tag, in order.
    std::vector<std::string> errors() const;
    bool contains(const std::string& text) const;
};

}  // namespace testing_support
