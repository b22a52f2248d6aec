#include "platform/mqtt/NetworkThread.h"

#include <pthread.h>
#include <signal.h>

#include <initializer_list>
#include <mutex>

namespace QoPlayer {
namespace mqtt {

namespace {
std::mutex signalMutex;
}

struct SignalGuard::Saved {
    std::lock_guard<std::mutex> lock{signalMutex};
    struct sigaction onBrokenPipe = {};
};

NetworkThread::NetworkThread() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS, SIGPROF})
        sigdelset(&blocked, fault);
    pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
}

// The TLS library, a shared one, sees a thread end by itself.
NetworkThread::~NetworkThread() = default;

SignalGuard::SignalGuard() : m_saved(std::make_unique<Saved>()) {
    sigaction(SIGPIPE, nullptr, &m_saved->onBrokenPipe);
}

SignalGuard::~SignalGuard() {
    sigaction(SIGPIPE, &m_saved->onBrokenPipe, nullptr);
}

}  // namespace mqtt
}  // namespace QoPlayer
