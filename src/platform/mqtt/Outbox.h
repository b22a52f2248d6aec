#pragma once

#include <cstddef>
#include <deque>
#include <string>

#include "platform/Sync.h"

namespace QoPlayer {
namespace mqtt {

struct Message {
    int cmd = 0;
    std::string body;
    std::string head;  ///< empty: none
};

/// The messages that have been accepted and not yet acknowledged, in order. Those at the front are in flight
/// (published on the current connection), the others wait.
class Outbox {
public:
    static constexpr std::size_t kMostMessages = 4096;
    static constexpr std::size_t kMostBytes = std::size_t{4} * 1024 * 1024;
    static constexpr std::size_t kMostBytesInFlight = std::size_t{256} * 1024;

    /// Accepts messages from now on.
    void open();

    /// Accepts no more and forgets what is left; says how many messages that were.
    std::size_t close();

    /// Appends `message`; false when closed or when one of the bounds is reached (a single message larger
    /// than the bound still goes when less than that is waiting). Any thread.
    bool add(Message&& message);

    // The network thread's side.

    /// The first message that is not in flight, if `mostInFlight` leaves room for it and the messages in
    /// flight are not too many bytes (acknowledgements must keep coming on a slow link); else null. Valid
    /// until it is acknowledged, dropped or the outbox closed.
    const Message* nextToPublish(std::size_t mostInFlight);

    /// The next message to publish is now in flight under `mid`.
    void published(int mid);

    /// The next message to publish will never go.
    void dropNext();

    /// Removes the message in flight under `mid`; false when there is none.
    bool acknowledged(int mid);

    /// Nothing is in flight any more: all messages wait again, in their order.
    void connectionLost();

    bool empty();

private:
    struct Entry {
        Message message;
        int mid;
    };
    static std::size_t bytesOf(const Message& message) { return message.body.size() + message.head.size(); }

    Mutex m_mutex;
    std::deque<Entry> m_entries QOLIVE_GUARDED_BY(m_mutex);
    std::size_t m_inFlight QOLIVE_GUARDED_BY(m_mutex) = 0;
    std::size_t m_bytes QOLIVE_GUARDED_BY(m_mutex) = 0;
    std::size_t m_bytesInFlight QOLIVE_GUARDED_BY(m_mutex) = 0;
    bool m_open QOLIVE_GUARDED_BY(m_mutex) = false;
};

}  // namespace mqtt
}  // namespace QoPlayer
