#include "platform/common/DefaultLogSink.h"

#include <ctime>
#include <string>

#include "platform/Kernel.h"
#include "platform/common/LogLine.h"

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
    const std::string text = FormatLogLine(local, now.wMilliseconds, level, line);
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written,
              nullptr);
}
