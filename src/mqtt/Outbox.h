#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>

#include "base/Sync.h"
#include "platform/MsgCenterWatch.h"

namespace QoPlayer {
namespace mqtt {

struct Message {
    int cmd = 0;
    std::string body;
    std::string head;                                  ///< empty: none
    std::chrono::steady_clock::time_point accepted{};  ///< when the host handed it over
};

/// The messages that have been accepted and not yet acknowledged, in three lanes: heartbeats before commands
/// before everything else (records). Within a lane the order is kept; those at its front are in flight
/// (published on the current connection), the others wait.
class Outbox {
public:
    using Clock = std::chrono::steady_clock;

    // Of each lane.
    static constexpr std::size_t kMostMessages = 4096;
    static constexpr std::size_t kMostBytes = std::size_t{4} * 1024 * 1024;

    /// A heartbeat that has waited for a whole period tells less than the next one.
    static constexpr Clock::duration kHeartbeatLife = std::chrono::seconds(3);

    /// With more of them in flight, a link that recovers would first deliver outdated ones.
    static constexpr std::size_t kMostHeartbeatsInFlight = 2;

    /// One that has been in flight for so long does not count: a server may be slow to acknowledge what it
    /// has read.
    static constexpr Clock::duration kHeartbeatAnswerTime = std::chrono::seconds(6);

    /// Records leave this many in-flight places free, but at most half of them.
    static constexpr std::size_t kKeptFromRecords = 2;

    /// What may be in flight at a time.
    struct Room {
        std::size_t messages;
        std::size_t recordBytes;  ///< while that many bytes are in flight, no record follows
    };

    /// A message that has been acknowledged.
    struct Delivery {
        Clock::time_point published;
        std::size_t bytes;
        std::size_t bytesInFlight;  ///< of all lanes, itself included
    };

    /// Accepts messages from now on.
    void open();

    /// Accepts no more and forgets what is left; says how many messages that were.
    std::size_t close();

    /// Appends `message` to its lane; false when closed or when one of the lane's bounds is reached (a single
    /// message larger than the bound still goes when less than that is waiting). Any thread.
    bool add(Message&& message);

    /// Counts a message that was accepted and is not worth a place here. Any thread.
    void countUnusable();

    /// What has become of all messages since the outbox was made. Any thread.
    MsgCenterCounters counters(Clock::time_point now);

    // The network thread's side.

    /// The message to publish next, if there is room for it; else null. Valid until it is acknowledged,
    /// dropped or the outbox closed. Heartbeats whose life has ended by `now` are forgotten.
    const Message* nextToPublish(const Room& room, Clock::time_point now);

    /// The message that nextToPublish gave last is now in flight under `packetId`, as a packet of `bytes`.
    void published(int packetId, std::size_t bytes, Clock::time_point now);

    /// The message that nextToPublish gave last will never go.
    void dropNext();

    /// Removes the message in flight under `packetId`, which the server has taken or refused; empty when
    /// there is none.
    std::optional<Delivery> acknowledged(int packetId, bool refused = false);

    /// Nothing is in flight any more: all messages wait again, in their order.
    void connectionLost();

    /// Forgets all heartbeats.
    void forgetHeartbeats();

    /// How many heartbeats have been forgotten by nextToPublish since the last call.
    std::size_t takeExpired();

    bool empty();

private:
    struct Entry {
        Message message;
        int packetId = 0;
        std::size_t packetBytes = 0;
        Clock::time_point published{};
    };
    struct Lane {
        std::deque<Entry> entries;
        std::size_t inFlight = 0;
        std::size_t bytes = 0;

        bool isFull() const { return entries.size() >= kMostMessages || bytes >= kMostBytes; }
        bool hasWaiting() const { return inFlight < entries.size(); }
        Entry& firstWaiting() { return entries[inFlight]; }
        void erase(std::size_t index);
    };
    enum LaneName : std::size_t { kHeartbeats, kCommands, kRecords, kLanes };

    static std::size_t bytesOf(const Message& message) { return message.body.size() + message.head.size(); }
    static LaneName laneOf(int cmd);
    bool hasRoom(LaneName name, const Room& room, Clock::time_point now) const QOLIVE_REQUIRES(m_mutex);
    std::size_t heartbeatsUnderWay(Clock::time_point now) const QOLIVE_REQUIRES(m_mutex);
    void dropExpired(Clock::time_point now) QOLIVE_REQUIRES(m_mutex);

    qolive::Mutex m_mutex;
    std::array<Lane, kLanes> m_lanes QOLIVE_GUARDED_BY(m_mutex);
    LaneName m_offered QOLIVE_GUARDED_BY(m_mutex) = kRecords;
    std::size_t m_messagesInFlight QOLIVE_GUARDED_BY(m_mutex) = 0;
    std::size_t m_bytesInFlight QOLIVE_GUARDED_BY(m_mutex) = 0;
    MsgCenterCounters m_counters QOLIVE_GUARDED_BY(m_mutex);
    std::size_t m_expired QOLIVE_GUARDED_BY(m_mutex) = 0;
    bool m_open QOLIVE_GUARDED_BY(m_mutex) = false;
};

}  // namespace mqtt
}  // namespace QoPlayer
