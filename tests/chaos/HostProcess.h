#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace chaos {

/// The host under trial: a program that is told what to do on its standard input and tells what it has done,
/// line by line, on its standard output. It ends with this object.
class HostProcess {
public:
    explicit HostProcess(const std::vector<std::string>& command);
    ~HostProcess();
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    int output() const { return m_output; }

    /// The lines that have come since the last call.
    std::vector<std::string> lines();

    void tell(const std::string& line);
    void closeInput();

    /// Why it ended, none while it runs.
    std::optional<std::string> end();
    bool endedWell() const { return m_ended && m_status == 0; }

    double residentMiB() const;
    std::size_t descriptors() const;
    std::size_t threads() const;

private:
    std::size_t entriesOf(const std::string& folder) const;

    pid_t m_pid = -1;
    int m_input = -1;
    int m_output = -1;
    bool m_ended = false;
    int m_status = 0;
    std::string m_text;
};

}  // namespace chaos
