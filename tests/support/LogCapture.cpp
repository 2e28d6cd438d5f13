#include "tests/support/LogCapture.h"

#include <android/log.h>

#include <cstdlib>
#include <mutex>

namespace testing_support {

namespace {

struct LogLine {
    int priority;
    std::string tag;
    std::string text;
};

std::mutex gMutex;
std::vector<LogLine>* gLines = nullptr;

void Collect(int priority, const char* tag, const char* text) {
    const std::lock_guard<std::mutex> lock(gMutex);
    if (gLines != nullptr) gLines->push_back({priority, tag, text});
}

template <typename Predicate>
std::vector<std::string> TextsWhere(Predicate predicate) {
    const std::lock_guard<std::mutex> lock(gMutex);
    std::vector<std::string> texts;
    for (const LogLine& line : *gLines) {
        if (predicate(line)) texts.push_back(line.text);
    }
    return texts;
}

// Before any test logs: masks are fetched once.
const bool gPrepared = [] {
    setenv("POSTEFFECT_LOG", "all", 1);
    __android_log_set_sink(Collect);
    return true;
}();

}  // namespace

LogCapture::LogCapture() {
    const std::lock_guard<std::mutex> lock(gMutex);
    gLines = new std::vector<LogLine>;
}

LogCapture::~LogCapture() {
    const std::lock_guard<std::mutex> lock(gMutex);
    delete gLines;
    gLines = nullptr;
}

std::vector<std::string> LogCapture::texts(const std::string& tag) const {
    return TextsWhere([&](const LogLine& line) { return line.tag == tag; });
}

std::vector<std::string> LogCapture::errors() const {
    return TextsWhere([](const LogLine& line) { return line.priority == ANDROID_LOG_ERROR; });
}

bool LogCapture::contains(const std::string& text) const {
    return !TextsWhere([&](const LogLine& line) { return line.text == text; }).empty();
}

}  // namespace testing_support
