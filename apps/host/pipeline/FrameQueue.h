#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "host/pipeline/StreamFeed.h"

namespace host {

enum class Pushed { Taken, Full, Closed };

/// Frames between the capture thread and the encoding thread: bounded per kind, never blocks the one who
/// pushes.
template <class Frame>
class FrameQueue {
public:
    FrameQueue(std::size_t videoLimit, std::size_t audioLimit) : m_limits{videoLimit, audioLimit} {}

    Pushed Push(MediaKind kind, Frame frame) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_closed) return Pushed::Closed;
            if (m_counts[Index(kind)] == m_limits[Index(kind)]) return Pushed::Full;
            ++m_counts[Index(kind)];
            m_frames.emplace_back(kind, std::move(frame));
        }
        m_condition.notify_one();
        return Pushed::Taken;
    }

    /// Waits for a frame. Empty once the queue is closed, whatever it still holds.
    std::optional<std::pair<MediaKind, Frame>> Pop() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_condition.wait(lock, [this] { return m_closed || !m_frames.empty(); });
        if (m_closed) return std::nullopt;
        auto front = std::move(m_frames.front());
        m_frames.pop_front();
        --m_counts[Index(front.first)];
        return front;
    }

    void Close() {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_closed = true;
        }
        m_condition.notify_all();
    }

private:
    static std::size_t Index(MediaKind kind) { return kind == MediaKind::Video ? 0 : 1; }

    std::mutex m_mutex;
    std::condition_variable m_condition;
    const std::array<std::size_t, 2> m_limits;
    std::array<std::size_t, 2> m_counts{};
    std::deque<std::pair<MediaKind, Frame>> m_frames;
    bool m_closed = false;
};

}  // namespace host
