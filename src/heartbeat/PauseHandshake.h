#pragma once

#include <atomic>
#include <cstdint>

namespace live_heartbeat {

/// Settles between a thread and the one who ends it by force that the end only ever hits the thread in its
/// pause. Ended anywhere else, it could hold a lock of ours, of the host's log or of the heap, which would
/// then stay locked for ever.
///
/// The thread declares the beginning and the end of each pause. The ender asks once: in its pause the thread
/// stays there and may be terminated; outside it, it is let go, is told so at its next step here and returns
/// by itself. There is one current thread at a time; a thread that was let go never takes itself for its
/// successor. Both sides share ownership of the object, because a condemned thread may look at it after its
/// ender has gone.
class PauseHandshake {
public:
    /// The ender's side; one call at a time. `id` is what GetCurrentThreadId returns there.
    void threadStarted(std::uint64_t id);

    /// Gives up the current thread, if any. True when it is in its pause, which it will not leave: terminate
    /// it. False when it was let go.
    bool giveUpThread();

    /// Waits until no thread that was started is outside a pause any more: each has left, or was given up in
    /// its pause. False when that takes longer than `milliseconds`.
    bool waitUntilAllLeft(unsigned milliseconds) const;

    /// The thread's side.
    bool isCurrent(std::uint64_t id) const;

    /// False when the thread was let go: it has to return.
    bool beginPause(std::uint64_t id);

    /// False when the thread is about to be terminated: AwaitTermination is all that is left for it to call.
    bool endPause(std::uint64_t id);

    /// The thread's last step.
    void threadLeft();

private:
    static constexpr std::uint64_t kNone = ~std::uint64_t{1};

    std::atomic<std::uint64_t> m_current{kNone};  // else twice the id, plus 1 in the pause
    std::atomic<int> m_threads{0};
};

}  // namespace live_heartbeat
