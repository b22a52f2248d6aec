#include "platform/mqtt/NetworkThread.h"

namespace QoPlayer {
namespace mqtt {

// Windows delivers no signals to a thread, and the client library changes none here.
struct SignalGuard::Saved {};

void PrepareNetworkThread() {}

SignalGuard::SignalGuard() = default;

SignalGuard::~SignalGuard() = default;

}  // namespace mqtt
}  // namespace QoPlayer
