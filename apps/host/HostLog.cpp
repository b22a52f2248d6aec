#include "host/HostLog.h"

#include <cstdio>
#include <iostream>
#include <string_view>

#include <qolive_report/platform/Log.h>
#include "common/Clock.h"
#include "common/CommandLine.h"
#include "common/Printable.h"

namespace host {
namespace {

constexpr std::size_t kMostLineBytes = 65536;
constexpr std::string_view kOfConnections = "[msgcenter] sdklog: ";

std::string TimeOfDay() {
    const int ms = static_cast<int>(apps::WallMs() % 86400000);
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
    const std::string text = apps::Printable(WithoutLineBreak(line), kMostLineBytes);
    const std::string begin = TimeOfDay() + " " + std::to_string(level) + " ";
    const std::lock_guard<std::mutex> lock(log.m_mutex);
    if (text.compare(0, kOfConnections.size(), kOfConnections) == 0)
        log.m_lastOfConnections = text.substr(kOfConnections.size());
    if (log.m_stream) *log.m_stream << begin << text << std::endl;
}

std::string HostLog::LastOfConnections() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastOfConnections;
}

bool HostLog::Failed() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_stream && !*m_stream;
}

}  // namespace host
