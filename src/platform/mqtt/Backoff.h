#pragma once

#include <cstdint>

namespace QoPlayer {
namespace mqtt {

/// The pauses between connection rounds: each is drawn evenly from zero to a ceiling that doubles from 0.5 s
/// up to the longest pause. The same seed gives the same pauses.
class Backoff {
public:
    Backoff(std::int64_t longestPauseMs, std::uint64_t seed);

    /// The pause before the next round, ms.
    std::int64_t nextPauseMs();

    /// The ceiling of the next pause, ms.
    std::int64_t ceilingMs() const { return m_ceilingMs; }

    /// Starts again at 0.5 s.
    void reset();

private:
    std::uint64_t random();

    std::int64_t m_longestPauseMs;
    std::int64_t m_ceilingMs;
    std::uint64_t m_state;
};

}  // namespace mqtt
}  // namespace QoPlayer
