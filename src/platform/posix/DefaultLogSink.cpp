#include "platform/common/DefaultLogSink.h"

#include <sys/time.h>
#include <unistd.h>

#include <ctime>
#include <string>

#include "platform/common/LogLine.h"

void WriteLogLine(void* /*user*/, int level, const char* line) {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const std::string text = FormatLogLine(local, static_cast<int>(now.tv_usec / 1000), level, line);
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}
