#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "mqtt/AccessToken.h"
#include "mqtt/Outbox.h"
#include "mqtt/SdkLog.h"
#include "mqtt/Senders.h"
#include "mqtt/SocketWaiter.h"
#include "mqtt/StatusBoard.h"
#include "network/LookUps.h"

namespace QoPlayer {
namespace mqtt {

inline constexpr std::size_t kMostLookUps = 8;

/// The client library counts its keep-alive in seconds, and has to be called to notice.
inline constexpr int kLongestStepMs = 1000;

/// What a center shares with its network thread.
struct CenterState {
    using Clock = SocketWaiter::Clock;

    /// Without `given` it makes a waiter of its own.
    explicit CenterState(std::shared_ptr<SocketWaiter> given = nullptr)
        : waiter(given ? std::move(given) : std::make_shared<SocketWaiter>()) {}

    // The network thread's side.

    /// How long it may wait at a time for what ends at `end`.
    int stepMs(Clock::time_point end) const;

    /// Tells `sender` whether it is connected, and to whom or why not.
    void tell(const Senders::Handle& sender, bool connected, const std::string& text);

    SdkLog log;
    StatusBoard status;
    AccessToken token;
    Senders senders;
    Outbox outbox;
    const std::shared_ptr<SocketWaiter> waiter;
    qolive::LookUps lookUps{kMostLookUps, [waiter = waiter] { waiter->wake(); }};
    std::atomic<bool> stopping{false};
    std::atomic<std::uint64_t> reconnects{0};
    std::atomic<std::uint64_t> sentUnconnected{0};
};

}  // namespace mqtt
}  // namespace QoPlayer
