#include "integration/support/Process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "integration/support/TempFolder.h"

namespace support {
namespace {

void Redirect(int descriptor, const char* file, int flags) {
    const int opened = open(file, flags | O_CLOEXEC, 0600);
    if (opened < 0 || dup2(opened, descriptor) < 0) _exit(126);
}

const char* FileOrNothing(const std::string& file) {
    return file.empty() ? "/dev/null" : file.c_str();
}

[[noreturn]] void Become(const std::vector<char*>& arguments, const char* output, const char* errors) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    Redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
    Redirect(STDOUT_FILENO, output, O_WRONLY | O_CREAT | O_APPEND);
    Redirect(STDERR_FILENO, errors, O_WRONLY | O_CREAT | O_APPEND);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

}  // namespace

Process::Process(const std::vector<std::string>& arguments, const std::string& outputFile,
                 const std::string& errorFile) {
    std::vector<char*> pointers;
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    const char* const output = FileOrNothing(outputFile);
    const char* const errors = FileOrNothing(errorFile);
    m_pid = fork();
    if (m_pid < 0) throw std::runtime_error("fork failed");
    if (m_pid == 0) Become(pointers, output, errors);
}

Process::~Process() {
    if (!m_ended) end(SIGKILL);
}

bool Process::isRunning() {
    if (m_ended) return false;
    int status = 0;
    if (waitpid(m_pid, &status, WNOHANG) == 0) return true;
    m_ended = true;
    m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return false;
}

void Process::signal(int number) {
    if (isRunning()) kill(m_pid, number);
}

void Process::end(int number) {
    signal(number);
    wait();
}

int Process::wait() {
    if (m_ended) return m_exitCode;
    int status = 0;
    while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_ended = true;
    m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return m_exitCode;
}

void Run(const std::vector<std::string>& arguments) {
    const TempFolder folder;
    const std::string errors = folder.path("errors");
    Process process(arguments, {}, errors);
    if (process.wait() != 0) throw std::runtime_error(arguments[0] + ": " + ReadFile(errors));
}

}  // namespace support
