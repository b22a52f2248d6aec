#pragma once

#include <cstdint>
#include <string>

#include "../base/Export.h"

// What the two message centers are doing and what has become of the messages, for the engineer of the host
// and for support. `main` picks the center: true for the main one, false for the backup.
//
//     const Bas::CenterStatus status = Bas::GetCenterStatus(true);
//     if (status.state != Bas::CenterState::Connected) show(status.reason);
//
// Threads: any thread may call any of these at any time; nothing here waits for the network, and reading
// takes locks of its own that are held for a moment only. With a message-center library that tells nothing of
// itself, everything is unknown or zero.

namespace Bas {

/// What a center is doing.
enum class CenterState : std::int32_t {
    Unknown = 0,       ///< the message-center library does not tell
    Stopped = 1,       ///< not started, or stopped
    Connecting = 2,    ///< on its way through the addresses
    Connected = 3,     ///< messages can be sent
    Waiting = 4,       ///< no address answered: the pause before the next round
    Refused = 5,       ///< a server refused the token, and it goes on trying; or it refused a
                       ///< subscription, which is asked for again at the next connection
    TokenExpired = 6,  ///< the access token has expired: no connection is made any more
};

struct CenterStatus {
    CenterState state = CenterState::Unknown;

    /// For a person, in English: the server that it is connected to, or the last failure, such as "cannot
    /// connect to a.example:8883: Connection refused". A connected center whose server refuses messages (its
    /// access rules do, as a rule) says that here until the connection ends. Holds neither token nor
    /// messages.
    std::string reason;

    /// When the state began, ms since 1970-01-01 UTC; 0 = unknown.
    std::int64_t sinceMs = 0;
};

/// What has become of the messages of one center (heartbeats, commands, records) since the process began;
/// Stop and Start change nothing. At any moment
///
///     accepted == acknowledged + refused + waiting
///                 + droppedUnusable + droppedLate + droppedAtReconnect + droppedAtStop
struct CenterCounters {
    std::uint64_t accepted = 0;      ///< taken by the center
    std::uint64_t published = 0;     ///< sent; one that is sent again after a reconnect counts again
    std::uint64_t acknowledged = 0;  ///< taken by a server
    std::uint64_t refused = 0;       ///< refused by a server, by its access rules for example

    // Given up, each with a line in the log or in its sum:
    std::uint64_t droppedUnusable = 0;     ///< larger than the server takes, or a head that cannot travel
    std::uint64_t droppedLate = 0;         ///< heartbeats that could not leave for a whole period
    std::uint64_t droppedAtReconnect = 0;  ///< heartbeats of before a reconnect, which a full one replaces
    std::uint64_t droppedAtStop = 0;       ///< not acknowledged when the center stopped

    // Not taken; who handed them over keeps them or drops them:
    std::uint64_t notAcceptedFull = 0;         ///< too much was waiting already
    std::uint64_t notAcceptedUnconnected = 0;  ///< there was no connection

    std::uint64_t reconnects = 0;      ///< connections that took the place of a lost one
    std::uint64_t waiting = 0;         ///< taken, neither acknowledged nor given up so far
    std::uint64_t waitingRecords = 0;  ///< those of them that are neither heartbeats nor commands
    std::int64_t oldestWaitingMs = 0;  ///< how long the oldest of them has waited, ms; 0 when none waits
};

QOLIVE_API CenterStatus GetCenterStatus(bool main);
QOLIVE_API CenterCounters GetCenterCounters(bool main);

/// Called when the state of a center, or the reason in its status, has changed. `user` is the pointer given
/// to SetCenterStatusSink, `main` 1 for the main center and 0 for the backup, `state` a CenterState; `reason`
/// ends with a zero byte and is valid during the call only.
///
/// Called from threads that end as soon as there is nothing to tell for a moment (Windows: from the center's
/// own), one call at a time for each center, with no lock held. It must return soon, because its center waits
/// for it, and must not throw. It may read status and counters and renew the access token; Start and Stop do
/// nothing in it, and SetCenterStatusSink and SetLogSink must not be called. Why a center could not be
/// started is not told this way, as no thread of it runs: its status has it.
using CenterStatusSink = void (*)(void* user, int main, int state, const char* reason);

/// Hands every later change to `sink`; null for none. When it returns, no thread is inside the previous sink
/// and none enters it, so what that one used can be freed; it blocks while a call of the previous one runs.
QOLIVE_API void SetCenterStatusSink(CenterStatusSink sink, void* user);

/// Gives the centers that are started a new access token in place of the one of CMsgCenterFactory::Start,
/// without a restart: `expireTime` in seconds since 1970-01-01 UTC, 0 = never. Living connections go on with
/// the old one; the next connection is made with the new one, and at once where the old one has expired or a
/// server has refused it. A later Start goes by its own configuration again.
///
/// True when a started center has taken it. False, with a line in the log, when none is started, or when the
/// token is longer than 65535 bytes or holds a zero byte; the old one stays then. The token is never logged.
/// May be called from any thread, inside the status sink too; does not block. A Start or Stop on another
/// thread at the same time may find it before or after.
QOLIVE_API bool RenewAccessToken(const std::string& token, std::int64_t expireTime);

}  // namespace Bas
