#pragma once

#include <memory>

namespace QoPlayer {
namespace mqtt {

/// To be made first on a thread of the message center and to live as long as it: leaves nothing of the TLS
/// library behind.
class NetworkThread {
public:
    NetworkThread() = default;
    ~NetworkThread();  // NOLINT(performance-trivially-destructible): not on Windows
    NetworkThread(const NetworkThread&) = delete;
    NetworkThread& operator=(const NetworkThread&) = delete;
};

/// Keeps what the process does on signals as it is for as long as it lives; the client library changes it.
/// One at a time in the process: whoever makes another waits.
class SignalGuard {
public:
    SignalGuard();
    ~SignalGuard();
    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;

private:
    struct Saved;
    std::unique_ptr<Saved> m_saved;
};

}  // namespace mqtt
}  // namespace QoPlayer
