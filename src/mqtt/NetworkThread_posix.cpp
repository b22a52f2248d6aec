#include "mqtt/NetworkThread.h"

#include <signal.h>

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
