#pragma once

#include <cstdint>

namespace live_heartbeat {

/// A sender that has attempted no report yet.
constexpr std::int64_t kNeverReported = -1;

/// Whether a periodic report is due at `nowMs` on a sender that attempted its last one at `lastMs`: the first
/// at once, each later one when `periodMs` have passed. A clock that has stepped back skips one turn and
/// starts the period again: `lastMs` becomes `nowMs` then, and so it does where there was no report to go by.
inline bool IsReportDue(std::int64_t nowMs, std::int32_t periodMs, std::int64_t& lastMs) {
    const std::int64_t last = lastMs;
    if (last >= 0 && nowMs >= last) return nowMs - last >= periodMs;
    lastMs = nowMs;
    return last == kNeverReported;
}

}  // namespace live_heartbeat
