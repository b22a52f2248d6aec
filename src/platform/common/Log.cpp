#include "platform/Log.h"

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

#include "platform/Kernel.h"
#include "platform/common/DefaultLogSink.h"
#include "platform/common/SinkCall.h"
#include "platform/common/SinkDepth.h"

namespace {

constexpr std::size_t kUsualLine = 1024;
constexpr std::size_t kLongestLine = std::size_t{64} * 1024;

struct Registration {
    LogSink sink;
    void* user;
    std::atomic<int> calls;
};

// All of this is trivially destructible, so that threads which outlive the static objects of the process can
// still log. A registration is used again but never freed: a logging thread may count itself into one that
// has just been replaced, before it looks again and leaves it alone.
Registration defaultRegistration{WriteLogLine, nullptr, {0}};
Registration hostRegistrations[2];
std::atomic<Registration*> current{&defaultRegistration};
std::mutex changeMutex;
std::atomic<bool> hasLeftHostSink{false};

/// Also when the host's runtime ends the thread inside the sink.
class InSink {
public:
    explicit InSink(std::atomic<int>& calls) : m_calls(calls) { EnterSink(); }
    ~InSink() {
        LeaveSink();
        m_calls.fetch_sub(1);
    }
    InSink(const InSink&) = delete;
    InSink& operator=(const InSink&) = delete;

private:
    std::atomic<int>& m_calls;
};

Registration* enterCurrent() {
    for (;;) {
        Registration* registration = current.load();
        registration->calls.fetch_add(1);
        if (registration == current.load()) return registration;
        registration->calls.fetch_sub(1);
    }
}

// What a JSON writer returns ends with a line break, which a log line does not.
void deliver(LogLevel level, char* line, std::size_t length) {
    if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
    Registration* registration = enterCurrent();
    if (HasLeftHostSink() && registration->sink != &WriteLogLine)
        registration->calls.fetch_sub(1);
    else
        DeliverLine({registration->sink, registration->user, static_cast<int>(level), &registration->calls},
                    line);
}

#if defined(__GNUC__)
__attribute__((format(printf, 3, 0)))
#endif
void deliverLong(LogLevel level, std::size_t length, const char* format, std::va_list arguments) {
    static constexpr char kCut[] = " [cut]";
    const std::size_t size = length < kLongestLine ? length + 1 : kLongestLine;
    const std::unique_ptr<char[]> line(new (std::nothrow) char[size]);
    if (!line) return;
    std::vsnprintf(line.get(), size, format, arguments);
    if (length >= size) std::snprintf(line.get() + size - sizeof kCut, sizeof kCut, "%s", kCut);
    deliver(level, line.get(), size - 1);
}

}  // namespace

void SetLogSink(LogSink sink, void* user) {
    if (IsProcessEnding()) return;
    const std::lock_guard<std::mutex> lock(changeMutex);
    Registration* const previous = current.load();
    Registration* next = &defaultRegistration;
    if (sink) {
        next = previous == &hostRegistrations[0] ? &hostRegistrations[1] : &hostRegistrations[0];
        next->sink = sink;
        next->user = user;
    }
    current.store(next);
    while (previous != next && previous->calls.load() != 0)
        std::this_thread::yield();
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
        deliver(level, line, static_cast<std::size_t>(length));
    else if (length >= 0)
        deliverLong(level, static_cast<std::size_t>(length), format, again);
    va_end(again);
    va_end(arguments);
}

void MakeSinkCall(const SinkCall& call, const char* line) {
    const InSink counted(*call.calls);
    call.sink(call.user, call.level, line);
}

void LeaveHostSink() {
    hasLeftHostSink = true;
}

bool HasLeftHostSink() {
    return hasLeftHostSink;
}

bool IsInLogSink() {
    return IsInSink();
}
