#pragma once

#include <memory>

namespace QoPlayer {
namespace mqtt {

/// To be called first on a thread of the message center: keeps the host's signal handlers off it.
void PrepareNetworkThread();

/// Keeps what the process does on signals as it is for as long as it lives; the client library changes it.
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
