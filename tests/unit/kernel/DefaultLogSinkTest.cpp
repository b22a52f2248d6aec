#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "platform/Log.h"

// What the default sink writes, at a time that the test sets.

namespace {

constexpr time_t kSeconds = 1'767'225'599;  // 2025-12-31 23:59:59 UTC
bool isTimeSet = false;
suseconds_t microseconds = 0;

std::string WrittenAt(suseconds_t us, LogLevel level, const char* text) {
    microseconds = us;
    isTimeSet = true;
    testing::internal::CaptureStderr();
    Log(level, "%s", text);
    const std::string written = testing::internal::GetCapturedStderr();
    isTimeSet = false;
    return written;
}

TEST(DefaultLogSink, WritesTheLocalTimeToTheMillisecondTheLevelAndTheLine) {
    setenv("TZ", "XYZ-3", 1);  // three hours ahead
    tzset();
    EXPECT_EQ(WrittenAt(999'999, LogLevel::Error, "a\nb"), "2026-01-01 02:59:59.999 4 a\\x0ab\n");
    EXPECT_EQ(WrittenAt(7'000, LogLevel::Info, ""), "2026-01-01 02:59:59.007 2 \n");
}

}  // namespace

// The linker sends calls of gettimeofday here (--wrap).

extern "C" {

int __real_gettimeofday(timeval* now, void* zone);
int __wrap_gettimeofday(timeval* now, void* zone);

int __wrap_gettimeofday(timeval* now, void* zone) {
    if (!isTimeSet) return __real_gettimeofday(now, zone);
    *now = {kSeconds, microseconds};
    return 0;
}

}  // extern "C"
