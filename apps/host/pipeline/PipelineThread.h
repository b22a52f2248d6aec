#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "base/Sync.h"
#include "host/pipeline/StreamFeed.h"

namespace host {

/// Tells the threads of a pipeline to end. Safe from any thread.
class StopSignal {
public:
    using Clock = std::chrono::steady_clock;

    void Request();
    bool IsRequested() const { return m_requested.load(); }
    /// Waits until `when` or until a stop is requested; true when one was.
    bool WaitUntil(Clock::time_point when);

private:
    qolive::Mutex m_mutex;
    qolive::ConditionVariable m_condition;
    std::atomic<bool> m_requested{false};
};

/// Runs a pipeline's work on a thread of its own and reports its end to the feed, exactly once, whatever the
/// work throws. A pipeline holds it as its last member, so that the thread has ended before anything that it
/// uses goes.
class PipelineThread {
public:
    explicit PipelineThread(StreamFeed& feed) : m_feed(feed) {}
    ~PipelineThread() { Stop(); }
    PipelineThread(const PipelineThread&) = delete;
    PipelineThread& operator=(const PipelineThread&) = delete;

    void Start(std::function<void()> work);
    void Stop();
    StopSignal& Signal() { return m_signal; }

private:
    void Run(const std::function<void()>& work);

    StreamFeed& m_feed;
    StopSignal m_signal;
    std::thread m_thread;
};

/// Milliseconds since 1970.
std::int64_t WallClockMs();

}  // namespace host
