#include "mqtt/NetworkThread.h"

#include <openssl/crypto.h>

namespace QoPlayer {
namespace mqtt {

// Windows delivers no signals to a thread, and the client library changes none here.
struct SignalGuard::Saved {};

// Linked into a DLL, the TLS library is not told when a thread ends.
NetworkThread::~NetworkThread() {
    OPENSSL_thread_stop();
}

SignalGuard::SignalGuard() = default;

SignalGuard::~SignalGuard() = default;

}  // namespace mqtt
}  // namespace QoPlayer
