#pragma once

#include <signal.h>

/// While it lives, a thread that this one starts inherits a signal mask that keeps the host's signals from
/// it: a handler of the host never runs on a thread that the host does not know. SIGPIPE is among them
/// because a thread that writes to a connection draws it upon itself.
class HostSignalsBlocked {
public:
    HostSignalsBlocked();
    ~HostSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    HostSignalsBlocked(const HostSignalsBlocked&) = delete;
    HostSignalsBlocked& operator=(const HostSignalsBlocked&) = delete;

private:
    sigset_t m_before{};
};

/// What each thread of the library calls first.
void EnterLibraryThread();

/// Whether the calling thread was started by the library.
bool IsLibraryThread();
