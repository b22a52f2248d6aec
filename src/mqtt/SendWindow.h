#pragma once

#include <chrono>
#include <cstddef>

namespace QoPlayer {
namespace mqtt {

/// How many bytes may be in flight on one connection, so that what is sent next waits for well less than a
/// heartbeat's period (3 s) behind them, on a fast link as on a thin or a long one. Learnt from how long
/// acknowledgements take: it grows while they are quick and it was the window that held messages back, and is
/// halved when they are late.
class SendWindow {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t kFirst = std::size_t{8} * 1024;
    static constexpr std::size_t kSmallest = std::size_t{2} * 1024;
    static constexpr std::size_t kLargest = std::size_t{256} * 1024;

    /// An acknowledgement within this time doubles the window with each round trip.
    static constexpr Clock::duration kQuick = std::chrono::milliseconds(600);
    /// One within this time lets it grow slowly: long links answer no sooner.
    static constexpr Clock::duration kUsual = std::chrono::milliseconds(1200);
    /// One after this time halves it.
    static constexpr Clock::duration kLate = std::chrono::milliseconds(1800);

    std::size_t bytes() const { return m_bytes; }

    /// A message of `bytes`, published at `published` and acknowledged at `now`, while `bytesInFlight` were
    /// in flight.
    void acknowledged(Clock::time_point published, Clock::time_point now, std::size_t bytes,
                      std::size_t bytesInFlight);

private:
    void shrink(Clock::time_point published, Clock::time_point now);

    std::size_t m_bytes = kFirst;
    Clock::time_point m_shrunk = Clock::time_point::min();
};

}  // namespace mqtt
}  // namespace QoPlayer
