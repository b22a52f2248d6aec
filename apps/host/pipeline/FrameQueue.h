#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <optional>
#include <utility>

#include "base/Sync.h"
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
            qolive::MutexLock lock(m_mutex);
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
        qolive::MutexLock lock(m_mutex);
        while (!m_closed && m_frames.empty()) {
            m_condition.wait(m_mutex);
        }
        if (m_closed) return std::nullopt;
        auto front = std::move(m_frames.front());
        m_frames.pop_front();
        --m_counts[Index(front.first)];
        return front;
    }

    void Close() {
        {
            qolive::MutexLock lock(m_mutex);
            m_closed = true;
        }
        m_condition.notify_all();
    }

private:
    static std::size_t Index(MediaKind kind) { return kind == MediaKind::Video ? 0 : 1; }

    qolive::Mutex m_mutex;
    qolive::ConditionVariable m_condition;
    const std::array<std::size_t, 2> m_limits;
    std::array<std::size_t, 2> m_counts QOLIVE_GUARDED_BY(m_mutex){};
    std::deque<std::pair<MediaKind, Frame>> m_frames QOLIVE_GUARDED_BY(m_mutex);
    bool m_closed QOLIVE_GUARDED_BY(m_mutex) = false;
};

}  // namespace host
