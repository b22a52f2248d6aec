#include "chaos/HostProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace chaos {
namespace {

[[noreturn]] void Become(const std::vector<char*>& arguments, int input, int output) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGPIPE, SIG_DFL);
    if (dup2(input, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0)
        execvp(arguments[0], arguments.data());
    _exit(127);
}

}  // namespace

HostProcess::HostProcess(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& each : command)
        arguments.push_back(const_cast<char*>(each.c_str()));
    arguments.push_back(nullptr);
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    m_pid = fork();
    if (m_pid < 0) throw std::runtime_error("fork failed");
    if (m_pid == 0) Become(arguments, in[0], out[1]);
    close(in[0]);
    close(out[1]);
    m_input = in[1];
    m_output = out[0];
    fcntl(m_output, F_SETFL, O_NONBLOCK);
}

HostProcess::~HostProcess() {
    if (!end()) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    closeInput();
    close(m_output);
}

std::vector<std::string> HostProcess::lines() {
    char bytes[4096];
    for (ssize_t length = 0; (length = ::read(m_output, bytes, sizeof bytes)) > 0;)
        m_text.append(bytes, static_cast<std::size_t>(length));
    std::vector<std::string> lines;
    for (auto at = m_text.find('\n'); at != std::string::npos; at = m_text.find('\n')) {
        lines.push_back(m_text.substr(0, at));
        if (!lines.back().empty() && lines.back().back() == '\r') lines.back().pop_back();
        m_text.erase(0, at + 1);
    }
    return lines;
}

void HostProcess::tell(const std::string& line) {
    const std::string text = line + "\n";
    if (write(m_input, text.data(), text.size()) < 0 && errno != EPIPE)
        throw std::runtime_error("cannot write to the host");
}

void HostProcess::closeInput() {
    if (m_input >= 0) close(m_input);
    m_input = -1;
}

std::optional<std::string> HostProcess::end() {
    if (!m_ended) m_ended = waitpid(m_pid, &m_status, WNOHANG) == m_pid;
    if (!m_ended) return std::nullopt;
    if (WIFSIGNALED(m_status))
        return "ended by signal " + std::to_string(WTERMSIG(m_status)) + " (" +
               strsignal(WTERMSIG(m_status)) + ")";
    return "ended with exit code " + std::to_string(WEXITSTATUS(m_status));
}

double HostProcess::residentMiB() const {
    std::ifstream file("/proc/" + std::to_string(m_pid) + "/statm");
    long size = 0;
    long resident = 0;
    file >> size >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

std::size_t HostProcess::entriesOf(const std::string& folder) const {
    std::error_code gone;
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(m_pid) + folder, gone);
    return static_cast<std::size_t>(std::distance(entries, std::filesystem::directory_iterator()));
}

std::size_t HostProcess::descriptors() const {
    return entriesOf("/fd");
}

std::size_t HostProcess::threads() const {
    return entriesOf("/task");
}

}  // namespace chaos
