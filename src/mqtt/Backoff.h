#pragma once

#include <cstdint>
#include <random>

namespace QoPlayer {
namespace mqtt {

/// The pauses between connection rounds: each is drawn evenly from zero to a ceiling that doubles from 0.5 s
/// up to the longest pause while nobody answers. The same seed gives the same pauses.
class Backoff {
public:
    Backoff(std::int64_t longestPauseMs, std::uint64_t seed);

    /// The pause before the next round after one without a connection, ms; the one after it can be twice as
    /// long.
    std::int64_t nextPauseMs();

    /// The pause after a connection that served for a while and was lost, ms: half as long as the last one
    /// could be.
    std::int64_t pauseAfterServingMs();

    /// Starts again at 0.5 s.
    void reset();

private:
    std::int64_t draw();

    std::int64_t m_longestPauseMs;
    std::int64_t m_ceilingMs;
    std::mt19937_64 m_random;
};

}  // namespace mqtt
}  // namespace QoPlayer
