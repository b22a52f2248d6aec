#pragma once

#include <cstdint>

// The command numbers of the library's senders, as the servers know them and as the message center's lanes
// are made.

namespace qolive {

constexpr std::int32_t kHeartbeatCommand = 2;     ///< heartbeats, on the main and the backup center
constexpr std::int32_t kHostCommand = 4;          ///< the host's commands, on the main center
constexpr std::int32_t kStreamReportCommand = 5;  ///< records of streams, on the main center

}  // namespace qolive
