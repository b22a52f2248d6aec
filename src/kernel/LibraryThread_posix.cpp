#include "kernel/LibraryThread_posix.h"

#include <initializer_list>
#include <utility>

#include "platform/LibraryThread.h"

namespace {

// In the thread's own block, not in one that is allocated at the first use, which costs a look-up each time.
[[gnu::tls_model("initial-exec")]] thread_local bool isLibraryThread = false;

}  // namespace

HostSignalsBlocked::HostSignalsBlocked() {
    sigset_t hosts;
    sigemptyset(&hosts);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD, SIGALRM, SIGVTALRM, SIGTSTP, SIGTTIN,
                             SIGTTOU, SIGCONT, SIGWINCH, SIGIO, SIGPIPE})
        sigaddset(&hosts, signal);
    pthread_sigmask(SIG_BLOCK, &hosts, &m_before);
}

std::shared_ptr<std::thread> StartLibraryThread(std::function<void()> work) {
    const HostSignalsBlocked inThread;
    return std::make_shared<std::thread>([work = std::move(work)] {
        EnterLibraryThread();
        work();
    });
}

void EnterLibraryThread() {
    isLibraryThread = true;
}

bool IsLibraryThread() {
    return isLibraryThread;
}
