#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>

#include "mqtt/SocketWaiter.h"

/// Lets the time in which a network thread waits pass at once: half a minute takes a moment, and nothing
/// comes a millisecond early or late. All that happens meanwhile happens on the thread that waits.
class SimulatedTime final : public QoPlayer::mqtt::SocketWaiter {
public:
    using Microseconds = std::chrono::microseconds;

    /// The calendar's time at the start, seconds since 1970.
    static constexpr std::int64_t kStart = 1'900'000'000;

    /// Does `action` when `after` has passed since the start.
    void at(Microseconds after, std::function<void()> action) { m_actions.emplace(after, std::move(action)); }

    /// Asked before time passes: does what others have to do, and says whether that was anything.
    std::function<bool()> others;

    Microseconds elapsed() const { return m_elapsed; }
    Microseconds longestWait() const { return m_longestWait; }

    /// Waits for nothing that took no time.
    int emptyWaits() const { return m_emptyWaits; }

    Ready wait(int socket, Interest interest, int timeoutMs) override;
    Clock::time_point now() const override { return Clock::time_point(std::chrono::hours(1)) + m_elapsed; }
    std::int64_t calendarSeconds() const override;

private:
    void pass(Microseconds most);

    std::multimap<Microseconds, std::function<void()>> m_actions;
    Microseconds m_elapsed{0};
    Microseconds m_longestWait{0};
    int m_emptyWaits = 0;
};
