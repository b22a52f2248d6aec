#pragma once

#include <cstdint>
#include <string>

#include "platform/MsgCenter.h"
#include "platform/MsgCenterOptions.h"

namespace QoPlayer {

/// What a message center is doing.
enum class MsgCenterState : int {
    Unknown = 0,       ///< the message-center library does not tell
    Stopped = 1,       ///< not started, or stopped
    Connecting = 2,    ///< on its way through the addresses
    Connected = 3,     ///< a sender has been told that it is connected, or would be
    Waiting = 4,       ///< no address answered: the pause before the next round
    Refused = 5,       ///< a server refused it; it goes on trying
    TokenExpired = 6,  ///< the access token has expired: it does not connect any more
};

struct MsgCenterStatus {
    MsgCenterState state = MsgCenterState::Unknown;
    std::string reason;        ///< for a person: the server, or the last failure
    std::int64_t sinceMs = 0;  ///< when the state began, ms since 1970-01-01 UTC
};

/// What has become of the messages that were handed to a center's senders since the center was made; stop and
/// start change nothing. At any time
///
///     accepted == acknowledged + refused + waiting
///                 + droppedUnusable + droppedLate + droppedAtReconnect + droppedAtStop
struct MsgCenterCounters {
    std::uint64_t accepted = 0;      ///< `send` was true
    std::uint64_t published = 0;     ///< on the wire; one that is sent again after a reconnect counts again
    std::uint64_t acknowledged = 0;  ///< taken by a server
    std::uint64_t refused = 0;       ///< refused by a server, by its access rules for example

    std::uint64_t droppedUnusable = 0;     ///< larger than the server takes, or malformed
    std::uint64_t droppedLate = 0;         ///< heartbeats that could not leave for a whole period
    std::uint64_t droppedAtReconnect = 0;  ///< heartbeats of before a reconnect
    std::uint64_t droppedAtStop = 0;       ///< still unacknowledged when the center stopped

    // Not accepted: `send` was false, and the caller kept the message.
    std::uint64_t notAcceptedFull = 0;
    std::uint64_t notAcceptedUnconnected = 0;  ///< no connection yet or any more, or the sender was closed

    std::uint64_t reconnects = 0;      ///< connections that took the place of a lost one
    std::uint64_t waiting = 0;         ///< accepted, and neither acknowledged nor given up yet
    std::uint64_t waitingRecords = 0;  ///< those of them that are neither heartbeats nor commands
    std::int64_t oldestWaitingMs = 0;  ///< how long the oldest of them has waited, ms; 0 when none waits
};

/// What a message center tells of itself and takes while it runs, beside the calls of MsgCenter. Made where
/// it is needed; it must not outlive the center. With a message-center library that has none of this, every
/// operation does nothing and everything is unknown or zero.
class MsgCenterWatch {
public:
    /// Called when the state or its reason has changed, by the center's network thread, with no lock held;
    /// `reason` ends with a zero byte. It must neither start nor stop the center; what blocks in it delays
    /// the center. (A center that could not be started has no such thread: only its status tells why.)
    using Listener = void (*)(void* user, MsgCenterState state, const char* reason);

    explicit MsgCenterWatch(MsgCenter& center) : m_center(center) {}

    /// What the center is called in its log lines. To be called before it is used otherwise.
    void setName(const std::string& name);

    /// To be called before the center is used otherwise.
    void setListener(Listener listener, void* user);

    /// What the next starts of the center go by; they fail when it cannot be used. False when the
    /// message-center library has no such options. Not while a start or stop of the center runs.
    bool setOptions(const MsgCenterOptions& options);

    // Any thread, at any time; they do not block:

    MsgCenterStatus status() const;
    MsgCenterCounters counters() const;

    /// Takes the place of the access token that the center was started with: offered with the next
    /// connection, which is made at once when the old one has expired or was refused. `expireTime` in seconds
    /// since 1970-01-01 UTC, 0 = never. False, with a log line, when the center is not started or the token
    /// cannot be used; the old one stays then. It is never logged.
    bool renewAccessToken(const std::string& token, std::int64_t expireTime);

private:
    [[maybe_unused]] MsgCenter& m_center;  // by a library without any of this
};

}  // namespace QoPlayer
