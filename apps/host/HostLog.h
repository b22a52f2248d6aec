#pragma once

#include <fstream>
#include <mutex>
#include <string>

namespace host {

/// Takes the library's log lines for as long as it exists, and writes them with the time of day (UTC) to a
/// file, to standard error or nowhere.
class HostLog {
public:
    /// An empty `path` means standard error. Throws apps::UsageError when the file cannot be written.
    HostLog(const std::string& path, bool quiet);
    ~HostLog();
    HostLog(const HostLog&) = delete;
    HostLog& operator=(const HostLog&) = delete;

private:
    static void OnLine(void* user, int level, const char* line);

    std::mutex m_mutex;
    std::ofstream m_file;
    std::ostream* m_stream;
};

}  // namespace host
