#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace support {

/// A child process. It ends with this object, and with the test process however that ends.
class Process {
public:
    /// Starts `arguments[0]`, looked up on the path. Its input is empty; its output and errors go to the two
    /// files, or to nothing where the name is empty.
    Process(const std::vector<std::string>& arguments, const std::string& outputFile,
            const std::string& errorFile);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    bool isRunning();
    void signal(int number);

    /// Sends `number` and waits for the end.
    void end(int number);

    /// Waits for the end and returns the exit code, -1 when a signal ended it.
    int wait();

private:
    pid_t m_pid;
    bool m_ended = false;
    int m_exitCode = -1;
};

/// Runs a program to its end; throws with its error output unless it exits with 0.
void Run(const std::vector<std::string>& arguments);

}  // namespace support
