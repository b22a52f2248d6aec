#include "fakes/CapturingLog.h"

#include <algorithm>

namespace fakes {

CapturingLog::CapturingLog() {
    SetLogSink(&CapturingLog::receive, this);
}

CapturingLog::~CapturingLog() {
    SetLogSink(nullptr, nullptr);
}

void CapturingLog::receive(void* user, int level, const char* line) {
    auto& self = *static_cast<CapturingLog*>(user);
    const std::lock_guard<std::mutex> lock(self.m_mutex);
    self.m_lines.push_back({level, line});
}

std::vector<LogLine> CapturingLog::lines() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
}

std::vector<std::string> CapturingLog::texts() const {
    std::vector<std::string> result;
    for (const LogLine& line : lines())
        result.push_back(line.text);
    return result;
}

int CapturingLog::count(const std::string& text) const {
    const auto all = texts();
    return static_cast<int>(std::count(all.begin(), all.end(), text));
}

int CapturingLog::countContaining(const std::string& part) const {
    const auto all = texts();
    return static_cast<int>(std::count_if(all.begin(), all.end(), [&part](const std::string& text) {
        return text.find(part) != std::string::npos;
    }));
}

void CapturingLog::clear() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.clear();
}

}  // namespace fakes
