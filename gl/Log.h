// Logging under a tag. Each tag caches its mask, so a message that nobody wants costs one test.
#pragma once

#include <android/log.h>
#include <kelplog.h>

#include <atomic>

// One log tag with its cached mask. Give it static storage. Thread: any; the first use from
// several threads at once fetches the same mask twice, which is harmless.
class LogTag {
  public:
    enum MaskBit : unsigned { kDebug = 0x2, kInfo = 0x4, kError = 0x10, kNotFetched = 0x80 };

    constexpr explicit LogTag(const char* name) noexcept : m_name(name) {}

    const char* name() const { return m_name; }

    bool wants(MaskBit bit) {
        unsigned mask = m_mask.load(std::memory_order_relaxed);
        if (mask & kNotFetched) mask = fetch();
        return (mask & bit) != 0;
    }

  private:
    unsigned fetch() {
        unsigned mask = 0;
        __kelplog_init_mask(m_name, ~0U, &mask);
        mask &= ~unsigned{kNotFetched};
        m_mask.store(mask, std::memory_order_relaxed);
        return mask;
    }

    const char* m_name;
    std::atomic<unsigned> m_mask{kNotFetched};
};

// LOG_x(tag, format, ...): printf arguments, checked by the compiler.
#define POSTEFFECT_LOG_AT(tag, bit, priority, ...)                      \
    do {                                                                \
        if ((tag).wants(bit)) {                                         \
            __android_log_print((priority), (tag).name(), __VA_ARGS__); \
        }                                                               \
    } while (false)
#define LOG_DEBUG(tag, ...) POSTEFFECT_LOG_AT(tag, LogTag::kDebug, ANDROID_LOG_DEBUG, __VA_ARGS__)
#define LOG_INFO(tag, ...) POSTEFFECT_LOG_AT(tag, LogTag::kInfo, ANDROID_LOG_INFO, __VA_ARGS__)
#define LOG_ERROR(tag, ...) POSTEFFECT_LOG_AT(tag, LogTag::kError, ANDROID_LOG_ERROR, __VA_ARGS__)
