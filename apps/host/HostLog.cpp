#include "host/HostLog.h"

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string_view>

#include "common/CommandLine.h"
#include "common/Printable.h"
#include "platform/Log.h"

namespace host {
namespace {

constexpr std::size_t mostLineBytes = 65536;

std::string TimeOfDay() {
    using namespace std::chrono;
    const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count() % 86400000;
    const int ms = static_cast<int>(now);
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03dZ", ms / 3600000, ms / 60000 % 60, ms / 1000 % 60,
                  ms % 1000);
    return text;
}

std::string_view WithoutLineBreak(std::string_view line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.remove_suffix(1);
    return line;
}

}  // namespace

HostLog::HostLog(const std::string& path, bool quiet) : m_stream(path.empty() ? &std::cerr : &m_file) {
    if (!path.empty()) {
        m_file.open(path, std::ios::app);
        if (!m_file) throw apps::UsageError("cannot write to " + path);
    } else if (quiet) {
        m_stream = nullptr;
    }
    SetLogSink(&HostLog::OnLine, this);
}

HostLog::~HostLog() {
    SetLogSink(nullptr, nullptr);
}

void HostLog::OnLine(void* user, int level, const char* line) {
    auto& log = *static_cast<HostLog*>(user);
    if (!log.m_stream) return;
    const std::string text = TimeOfDay() + " " + std::to_string(level) + " " +
                             apps::Printable(WithoutLineBreak(line), mostLineBytes) + "\n";
    const std::lock_guard<std::mutex> lock(log.m_mutex);
    *log.m_stream << text << std::flush;
}

}  // namespace host
