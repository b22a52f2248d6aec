#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "base/Sync.h"
#include "platform/MsgCenter.h"

namespace QoPlayer {
namespace mqtt {

/// One open sender, as the network thread sees it.
struct Sender {
    Sender(int senderCmd, MsgSenderCallback senderCallback, void* senderUser)
        : cmd(senderCmd), callback(senderCallback), user(senderUser) {}

    const int cmd;
    const MsgSenderCallback callback;
    void* const user;

    std::atomic<bool> connected{false};
    std::atomic<bool> closed{false};

    // Used by the network thread alone.
    bool subscribed = false;  ///< asked for on the current connection
    std::string told;         ///< the last reason that the callback was given for not being connected
};

/// The senders of a center and the one place that calls back.
class Senders {
public:
    using Handle = std::shared_ptr<Sender>;

    /// Null when `cmd` has a sender.
    Handle open(int cmd, MsgSenderCallback callback, void* user);

    /// Takes the sender of `cmd` out of the table. Null when there is none, be it that another call has just
    /// taken it out. Then waits, in either case, until a callback of the command's closed sender has ended
    /// that runs on another thread. Asks for no memory.
    Handle close(int cmd);

    Handle find(int cmd);
    std::vector<Handle> all();

    /// To be called by a network thread before its first notice: what an earlier one told is told again.
    void forgetWhatWasTold();

    /// Commands whose senders have been closed since the last call.
    std::set<int> takeClosed();

    /// True once after the set of senders has changed.
    bool takeChanged() { return m_changed.exchange(false); }

    /// Calls the sender's callback unless it has been closed. One thread at a time calls this.
    void notify(const Handle& sender, int msgType, int code, const void* data, std::size_t len);

private:
    void awaitCallbackOfClosed(int cmd) QOLIVE_REQUIRES(m_mutex);

    qolive::Mutex m_mutex;
    qolive::ConditionVariable m_callbackEnded;
    std::map<int, Handle> m_senders QOLIVE_GUARDED_BY(m_mutex);
    std::map<int, Handle> m_closed QOLIVE_GUARDED_BY(m_mutex);
    const Sender* m_running QOLIVE_GUARDED_BY(m_mutex) = nullptr;
    std::thread::id m_runningOn QOLIVE_GUARDED_BY(m_mutex);
    std::atomic<bool> m_changed{false};
};

}  // namespace mqtt
}  // namespace QoPlayer
