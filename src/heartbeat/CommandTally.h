#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace live_heartbeat {

/// One more drops the oldest.
constexpr std::size_t kMostWaitingCommands = 21;

/// Counts for CommandCounters.h. Any thread; whoever changes a queue holds that queue's lock.
class CommandTally {
public:
    static CommandTally& instance();

    void queued() {
        add(m_queued);
        add(m_waiting);
    }
    void handedOver() {
        add(m_handedOver);
        queueShrinks(1);
    }
    void dropped() {
        add(m_dropped);
        queueShrinks(1);
    }

    // A queue comes with a copy of a heartbeat, and goes with the heartbeat.
    void queueGrows(std::size_t count) { m_waiting.fetch_add(count, std::memory_order_relaxed); }
    void queueShrinks(std::size_t count) { m_waiting.fetch_sub(count, std::memory_order_relaxed); }

    std::uint64_t queuedSoFar() const { return m_queued.load(std::memory_order_relaxed); }
    std::uint64_t handedOverSoFar() const { return m_handedOver.load(std::memory_order_relaxed); }
    std::uint64_t droppedSoFar() const { return m_dropped.load(std::memory_order_relaxed); }
    std::uint64_t waitingNow() const { return m_waiting.load(std::memory_order_relaxed); }

private:
    static void add(std::atomic<std::uint64_t>& figure) { figure.fetch_add(1, std::memory_order_relaxed); }

    std::atomic<std::uint64_t> m_queued{0};
    std::atomic<std::uint64_t> m_handedOver{0};
    std::atomic<std::uint64_t> m_dropped{0};
    std::atomic<std::uint64_t> m_waiting{0};
};

}  // namespace live_heartbeat
