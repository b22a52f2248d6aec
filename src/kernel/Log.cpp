#include "platform/Log.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>

#include "kernel/DefaultLogSink.h"
#include "platform/HostSink.h"
#include "platform/Kernel.h"

namespace {

constexpr std::size_t kUsualLine = 1024;
constexpr std::size_t kLongestLine = std::size_t{64} * 1024;

HostSink<LogSink> hostSink{WriteLogLine};

// What a JSON writer returns ends with a line break, which a log line does not.
void Deliver(LogLevel level, char* line, std::size_t length) {
    if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
    auto* const registration = hostSink.enter();
    if (HasLeftHostSink() && registration->function != &WriteLogLine)
        registration->calls.fetch_sub(1);
    else
        DeliverLine(
            {registration->function, registration->user, static_cast<int>(level), &registration->calls},
            line);
}

#if defined(__GNUC__)
__attribute__((format(printf, 3, 0)))
#endif
void DeliverLong(LogLevel level, std::size_t length, const char* format, std::va_list arguments) {
    static constexpr char kCut[] = " [cut]";
    const std::size_t size = length < kLongestLine ? length + 1 : kLongestLine;
    const std::unique_ptr<char[]> line(new (std::nothrow) char[size]);
    if (!line) return;
    std::vsnprintf(line.get(), size, format, arguments);
    if (length >= size) std::snprintf(line.get() + size - sizeof kCut, sizeof kCut, "%s", kCut);
    Deliver(level, line.get(), size - 1);
}

}  // namespace

void SetLogSink(LogSink sink, void* user) {
    if (!IsProcessEnding()) hostSink.set(sink, user);
}

void Log(LogLevel level, const char* format, ...) {
    if (IsProcessEnding()) return;
    char line[kUsualLine];
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    if (length >= 0 && static_cast<std::size_t>(length) < sizeof line)
        Deliver(level, line, static_cast<std::size_t>(length));
    else if (length >= 0)
        DeliverLong(level, static_cast<std::size_t>(length), format, again);
    va_end(again);
    va_end(arguments);
}
