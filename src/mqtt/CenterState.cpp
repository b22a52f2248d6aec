#include "mqtt/CenterState.h"

#include <algorithm>
#include <chrono>

namespace QoPlayer {
namespace mqtt {

int CenterState::stepMs(Clock::time_point end) const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - waiter->now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, kLongestStepMs));
}

// An owner that has not heard yet that the connection is lost still hands messages over: they are kept for
// the next one. A stop keeps none, so they are refused then.
void CenterState::tell(const Senders::Handle& sender, bool connected, const std::string& text) {
    sender->told = connected ? std::string() : text;
    if (connected || stopping) sender->connected = connected;
    senders.notify(sender, kStatusMessage, connected ? kConnectedCode : kDisconnectedCode, text.data(),
                   text.size());
    sender->connected = connected;
}

}  // namespace mqtt
}  // namespace QoPlayer
