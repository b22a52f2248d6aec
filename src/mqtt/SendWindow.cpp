#include "mqtt/SendWindow.h"

#include <algorithm>

namespace QoPlayer {
namespace mqtt {
namespace {

constexpr std::size_t kSlowStep = 1024;  // bytes for each window that is acknowledged

}  // namespace

void SendWindow::acknowledged(Clock::time_point published, Clock::time_point now, std::size_t bytes,
                              std::size_t bytesInFlight) {
    const Clock::duration latency = now - published;
    if (latency > kLate) return shrink(published, now);
    const bool heldBack = bytesInFlight >= m_bytes / 2;
    if (latency > kUsual || !heldBack) return;
    const std::size_t step = latency <= kQuick ? bytes : std::min(bytes, bytes * kSlowStep / m_bytes + 1);
    m_bytes = std::min(kLargest, m_bytes + step);
}

// Once for each round trip: what was published before tells of the window as it was.
void SendWindow::shrink(Clock::time_point published, Clock::time_point now) {
    if (published < m_shrunk) return;
    m_shrunk = now;
    m_bytes = std::max(kSmallest, m_bytes / 2);
}

}  // namespace mqtt
}  // namespace QoPlayer
