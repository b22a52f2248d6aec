#include "mqtt/Backoff.h"

#include <algorithm>

namespace QoPlayer {
namespace mqtt {
namespace {

constexpr std::int64_t kFirstCeilingMs = 500;

}  // namespace

Backoff::Backoff(std::int64_t longestPauseMs, std::uint64_t seed)
    : m_longestPauseMs(longestPauseMs), m_ceilingMs(0), m_random(seed) {
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
    return static_cast<std::int64_t>(m_random() % (static_cast<std::uint64_t>(m_ceilingMs) + 1));
}

}  // namespace mqtt
}  // namespace QoPlayer
