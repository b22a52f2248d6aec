#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/Log.h"

namespace fakes {

struct LogLine {
    int level;
    std::string text;
};

/// Receives every log line of the process while it lives.
class CapturingLog {
public:
    CapturingLog();
    ~CapturingLog();
    CapturingLog(const CapturingLog&) = delete;
    CapturingLog& operator=(const CapturingLog&) = delete;

    std::vector<LogLine> lines() const;
    std::vector<std::string> texts() const;
    int count(const std::string& text) const;  ///< lines that are exactly `text`
    int countContaining(const std::string& part) const;
    void clear();

private:
    static void receive(void* user, int level, const char* line);

    mutable std::mutex m_mutex;
    std::vector<LogLine> m_lines;
};

}  // namespace fakes
