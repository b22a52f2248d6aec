#include "kernel/DefaultLogSink.h"

#include <cstddef>
#include <ctime>
#include <exception>
#include <string>

#include "kernel/LogLine.h"
#include "platform/Kernel.h"

namespace {

void WriteAll(const char* text, std::size_t length) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(length), &written, nullptr);
}

}  // namespace

void WriteLogLine(void* /*user*/, int level, const char* line) {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    std::tm local{};
    local.tm_year = now.wYear - 1900;
    local.tm_mon = now.wMonth - 1;
    local.tm_mday = now.wDay;
    local.tm_hour = now.wHour;
    local.tm_min = now.wMinute;
    local.tm_sec = now.wSecond;
    try {
        const std::string text = FormatLogLine(local, now.wMilliseconds, level, line);
        WriteAll(text.data(), text.size());
    } catch (const std::exception&) {
        char text[512];
        WriteAll(text, FormatBareLogLine(text, sizeof text, line));
    }
}
