#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace host {

/// Tells the threads of a pipeline to end. Safe from any thread.
class StopFlag {
public:
    using Clock = std::chrono::steady_clock;

    void Raise();
    bool IsRaised() const { return m_raised.load(); }
    /// Waits until `when` or until the flag is raised; true when it is.
    bool WaitUntil(Clock::time_point when);

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    std::atomic<bool> m_raised{false};
};

}  // namespace host
