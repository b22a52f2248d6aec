#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
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

/// What a center shares with its network thread.
struct CenterState {
    /// A waiter of its own without `given`.
    explicit CenterState(std::shared_ptr<SocketWaiter> given = nullptr)
        : waiter(given ? std::move(given) : std::make_shared<SocketWaiter>()) {}

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
