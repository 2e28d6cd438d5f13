// The platform log: one line on stderr for each message.
#pragma once

enum {
    ANDROID_LOG_DEBUG = 3,
    ANDROID_LOG_INFO = 4,
    ANDROID_LOG_ERROR = 6,
};

extern "C" {

// printf arguments. A trailing newline is not doubled. Thread: any.
int __android_log_print(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Sends every further message to `sink` instead of stderr; null restores stderr. Thread: any.
using AndroidLogSink = void (*)(int priority, const char* tag, const char* text);
void __android_log_set_sink(AndroidLogSink sink);

}  // extern "C"
