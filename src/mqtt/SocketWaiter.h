#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <system_error>

#include "platform/Kernel.h"

namespace QoPlayer {
namespace mqtt {

/// Waits for one socket, a time limit and a wake-up from other threads, whichever comes first. Also tells the
/// time: whoever replaces the waiting can let the time pass in which it waits.
class SocketWaiter {
public:
    using Clock = std::chrono::steady_clock;

    struct Interest {
        bool read = false;
        bool write = false;
    };
    struct Ready {
        bool readable = false;
        bool writable = false;
    };

    SocketWaiter();
    virtual ~SocketWaiter();
    SocketWaiter(const SocketWaiter&) = delete;
    SocketWaiter& operator=(const SocketWaiter&) = delete;

    /// False when the system gave no socket to wake with; nothing else may be called then.
    bool isUsable() const { return m_wakeRead != kNone; }

    /// Ends the wait that is under way, or the next one. Any thread; does not block.
    void wake();

    /// Waits until one of `interest` can be done with `socket`, or it has failed, which reads as both. One
    /// thread alone.
    virtual Ready wait(int socket, Interest interest, int timeoutMs);

    /// Waits without a socket.
    void wait(int timeoutMs) { wait(static_cast<int>(kNone), {}, timeoutMs); }

    /// Any thread.
    virtual Clock::time_point now() const { return Clock::now(); }

    /// Seconds since 1970-01-01 UTC. Any thread.
    virtual std::int64_t calendarSeconds() const { return _time64(nullptr); }

private:
    static constexpr std::intptr_t kNone = -1;
    void takeWakeUp();

    std::intptr_t m_wakeRead = kNone;
    std::intptr_t m_wakeWrite = kNone;
    std::atomic<bool> m_woken{false};
};

/// The error that waits on `socket`; takes it away.
std::error_code SocketError(int socket);

/// False when a connection attempt on `socket` has failed or its connection is gone.
bool IsSocketConnected(int socket);

/// True when the other side has closed `socket` or it has failed.
bool IsSocketClosed(int socket);

/// Makes every further read and write of `socket` fail.
void ShutDownSocket(int socket);

}  // namespace mqtt
}  // namespace QoPlayer
