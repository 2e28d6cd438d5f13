#include <android/log.h>
#include <kelplog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/linux/Environment.h"

namespace {

std::atomic<AndroidLogSink> gSink{nullptr};

constexpr std::size_t kMaxMessage = 4096;  // bytes; longer ones are cut

char LetterOf(int priority) {
    switch (priority) {
        case ANDROID_LOG_DEBUG:
            return 'D';
        case ANDROID_LOG_INFO:
            return 'I';
        default:
            return 'E';
    }
}

void WriteLine(int priority, const char* tag, std::string_view text) {
    while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    std::array<char, kMaxMessage + 128> line{};
    const int length =
        std::snprintf(line.data(), line.size(), "%c/%-8s(%5d): %.*s\n", LetterOf(priority), tag,
                      getpid(), static_cast<int>(text.size()), text.data());
    if (length <= 0) return;
    const std::size_t size = std::min(static_cast<std::size_t>(length), line.size() - 1);
    line[size - 1] = '\n';  // also where a long tag cut it off
    // One write, so that lines of several threads do not mix. Nobody can be told of a failure.
    const ssize_t written = write(STDERR_FILENO, line.data(), size);
    static_cast<void>(written);
}

struct Level {
    std::string_view name;
    unsigned mask;
};
constexpr Level kLevels[] = {
    {"none", 0}, {"error", 0x10}, {"info", 0x10 | 0x4}, {"debug", 0x10 | 0x4 | 0x2}, {"all", ~0U},
};

unsigned MaskOf(std::string_view level, unsigned otherwise) {
    for (const Level& row : kLevels) {
        if (row.name == level) return row.mask;
    }
    return otherwise;
}

}  // namespace

extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
    std::array<char, kMaxMessage> text{};
    std::va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is not seen for what it is
    const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    if (const AndroidLogSink sink = gSink.load(std::memory_order_acquire)) {
        sink(priority, tag, text.data());
    } else {
        WriteLine(priority, tag, text.data());
    }
    return length;
}

extern "C" void __android_log_set_sink(AndroidLogSink sink) {
    gSink.store(sink, std::memory_order_release);
}

extern "C" void __kelplog_init_mask(const char* tag, unsigned initial, unsigned* mask) {
    unsigned wanted = MaskOf("error", 0);
    const std::string levels = platform::LogLevels();
    std::string_view rest = levels;
    // Later entries win, and a tag's own entry over one for all.
    bool own = false;
    while (!rest.empty()) {
        const std::size_t comma = rest.find(',');
        const std::string_view entry = rest.substr(0, comma);
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
        const std::size_t equals = entry.find('=');
        if (equals == std::string_view::npos) {
            if (!own) wanted = MaskOf(entry, wanted);
        } else if (entry.substr(0, equals) == tag) {
            wanted = MaskOf(entry.substr(equals + 1), wanted);
            own = true;
        }
    }
    *mask = initial & wanted;
}
