#pragma once

#include <cstdint>

#include "../base/Export.h"

namespace live_heartbeat {

/// What has become of the commands that LiveHeartReport::sendComand took, since the process began and for all
/// its heartbeats together. Each figure is right by itself; one that is read a moment later may fit another
/// moment.
struct CommandCounters {
    std::uint64_t queued = 0;      ///< sendComand said true
    std::uint64_t handedOver = 0;  ///< the message center took them
    std::uint64_t dropped = 0;     ///< the oldest that waited, because 21 did and another one came
    std::uint64_t waiting = 0;     ///< in the queue now, those that a stop left over included
};

/// Any thread, at any time; takes no lock and never blocks.
QOLIVE_API CommandCounters GetCommandCounters();

}  // namespace live_heartbeat
