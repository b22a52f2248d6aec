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

    /// The latest line about the connections, empty when there was none.
    std::string LastOfConnections() const;

    /// Whether a line could not be written.
    bool Failed() const;

private:
    static void OnLine(void* user, int level, const char* line);

    mutable std::mutex m_mutex;
    std::string m_lastOfConnections;
    std::ofstream m_file;
    std::ostream* m_stream;
};

}  // namespace host
