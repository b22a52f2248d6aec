#include "mqtt/Backoff.h"

#include <algorithm>

namespace QoPlayer {
namespace mqtt {
namespace {

constexpr std::int64_t kFirstCeilingMs = 500;

}  // namespace

Backoff::Backoff(std::int64_t longestPauseMs, std::uint64_t seed)
    : m_longestPauseMs(longestPauseMs), m_ceilingMs(0), m_state(seed) {
    reset();
}

std::int64_t Backoff::nextPauseMs() {
    const std::int64_t pause = draw();
    m_ceilingMs = std::min(m_longestPauseMs, m_ceilingMs * 2);
    return pause;
}

std::int64_t Backoff::pauseAfterServingMs() {
    m_ceilingMs = std::max(std::min(m_longestPauseMs, kFirstCeilingMs), m_ceilingMs / 2);
    return draw();
}

void Backoff::reset() {
    m_ceilingMs = std::min(m_longestPauseMs, kFirstCeilingMs);
}

std::int64_t Backoff::draw() {
    return static_cast<std::int64_t>(random() % (static_cast<std::uint64_t>(m_ceilingMs) + 1));
}

// SplitMix64.
std::uint64_t Backoff::random() {
    m_state += 0x9e3779b97f4a7c15U;
    std::uint64_t z = m_state;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31);
}

}  // namespace mqtt
}  // namespace QoPlayer
