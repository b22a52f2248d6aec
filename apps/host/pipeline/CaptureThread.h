#pragma once

#include <algorithm>
#include <exception>
#include <functional>
#include <thread>
#include <utility>

#include "host/pipeline/CaptureSchedule.h"
#include "host/pipeline/FrameQueue.h"
#include "host/pipeline/StopFlag.h"

namespace host {

/// Produces frames on their schedule and queues them for the encoding thread. Frames that find the queue full
/// are lost.
template <class Frame>
class CaptureThread {
public:
    using Produce = std::function<Frame(const CaptureSchedule::Slot&)>;

    /// `produce` runs on the capture thread; what it throws comes out of Pop.
    CaptureThread(int fps, StreamFeed& feed, StopFlag& stop, Produce produce)
        : m_feed(feed),
          m_stop(stop),
          m_produce(std::move(produce)),
          m_schedule(fps),
          m_queue(VideoLimit(fps), kAudioLimit),
          m_thread([this] { Run(); }) {}

    ~CaptureThread() {
        m_queue.Close();
        m_thread.join();
    }
    CaptureThread(const CaptureThread&) = delete;
    CaptureThread& operator=(const CaptureThread&) = delete;

    /// The next frame, waited for; empty once the stream is to stop. For the encoding thread.
    std::optional<std::pair<MediaKind, Frame>> Pop() {
        auto next = m_queue.Pop();
        // The queue's lock makes the error, which is written before the queue is closed, visible here.
        if (!next && m_error) std::rethrow_exception(m_error);
        return next;
    }

private:
    // A quarter of a second of pictures rides out a pause of the encoder. Sound waits behind the pictures, so
    // it gets room for as long as the slowest of them can take.
    static std::size_t VideoLimit(int fps) { return static_cast<std::size_t>(std::max(4, fps / 4)); }
    static constexpr std::size_t kAudioLimit = 256;

    void Run() {
        try {
            Capture();
        } catch (...) {
            m_error = std::current_exception();
        }
        m_queue.Close();
    }

    void Capture() {
        const auto start = StopFlag::Clock::now();
        for (Pushed pushed = Pushed::Taken; pushed != Pushed::Closed;) {
            const CaptureSchedule::Slot slot = m_schedule.Next();
            Frame frame = m_produce(slot);
            if (m_stop.WaitUntil(start + slot.at)) return;
            m_feed.OnCaptured(slot.kind);
            pushed = m_queue.Push(slot.kind, std::move(frame));
            if (pushed == Pushed::Full) m_feed.OnLost(slot.kind);
        }
    }

    StreamFeed& m_feed;
    StopFlag& m_stop;
    const Produce m_produce;
    CaptureSchedule m_schedule;
    FrameQueue<Frame> m_queue;
    std::exception_ptr m_error;
    std::thread m_thread;
};

}  // namespace host
