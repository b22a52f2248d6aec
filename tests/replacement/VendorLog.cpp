#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "platform/Log.h"

// A log of another maker's, as small as can be.

namespace {

std::atomic<LogSink> currentSink{nullptr};
std::atomic<void*> currentUser{nullptr};

}  // namespace

void SetLogSink(LogSink sink, void* user) {
    currentUser = user;
    currentSink = sink;
}

void Log(LogLevel level, const char* format, ...) {
    char line[1024] = "vendor: ";
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line + 8, sizeof line - 8, format, arguments);
    va_end(arguments);
    if (const LogSink sink = currentSink) sink(currentUser, static_cast<int>(level), line);
}
