#include "tests/support/LogCapture.h"

#include <android/log.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace testing_support {

namespace {

std::mutex gMutex;
std::vector<LogLine>* gLines = nullptr;

void Collect(int priority, const char* tag, const char* text) {
    const std::lock_guard<std::mutex> lock(gMutex);
    if (gLines != nullptr) gLines->push_back({priority, tag, text});
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

std::vector<LogLine> LogCapture::lines() const {
    const std::lock_guard<std::mutex> lock(gMutex);
    return *gLines;
}

std::vector<std::string> LogCapture::texts(const std::string& tag) const {
    std::vector<std::string> found;
    for (const LogLine& line : lines()) {
        if (line.tag == tag) found.push_back(line.text);
    }
    return found;
}

std::vector<std::string> LogCapture::errors() const {
    std::vector<std::string> found;
    for (const LogLine& line : lines()) {
        if (line.priority == ANDROID_LOG_ERROR) found.push_back(line.text);
    }
    return found;
}

bool LogCapture::contains(const std::string& text) const {
    const std::vector<LogLine> all = lines();
    return std::any_of(all.begin(), all.end(),
                       [&](const LogLine& line) { return line.text == text; });
}

}  // namespace testing_support
