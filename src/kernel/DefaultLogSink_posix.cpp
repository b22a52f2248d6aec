#include "kernel/DefaultLogSink.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstddef>
#include <ctime>
#include <exception>
#include <string>

#include "kernel/LogLine.h"

namespace {

void WriteAll(const char* text, std::size_t length) {
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, length);
}

}  // namespace

void WriteLogLine(void* /*user*/, int level, const char* line) {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    try {
        const std::string text = FormatLogLine(local, static_cast<int>(now.tv_usec / 1000), level, line);
        WriteAll(text.data(), text.size());
    } catch (const std::exception&) {
        char text[512];
        WriteAll(text, FormatBareLogLine(text, sizeof text, line));
    }
}
