#include "mqtt/Outbox.h"

#include <algorithm>
#include <utility>

#include "mqtt/Wire.h"
#include "platform/Commands.h"

namespace QoPlayer {
namespace mqtt {

void Outbox::Lane::erase(std::size_t index) {
    const auto entry = entries.begin() + static_cast<std::ptrdiff_t>(index);
    bytes -= bytesOf(entry->message);
    if (index < inFlight) --inFlight;
    entries.erase(entry);
}

Outbox::LaneName Outbox::laneOf(int cmd) {
    if (cmd == qolive::kHeartbeatCommand) return kHeartbeats;
    return cmd == qolive::kHostCommand ? kCommands : kRecords;
}

void Outbox::open() {
    const qolive::MutexLock lock(m_mutex);
    m_open = true;
}

std::size_t Outbox::close() {
    const qolive::MutexLock lock(m_mutex);
    std::size_t left = 0;
    for (Lane& lane : m_lanes) {
        left += lane.entries.size();
        lane.entries.clear();  // a new queue would ask for memory
        lane.bytes = 0;
        lane.inFlight = 0;
    }
    m_messagesInFlight = 0;
    m_bytesInFlight = 0;
    m_open = false;
    m_counters.droppedAtStop += left;
    return left;
}

bool Outbox::add(Message&& message) {
    const qolive::MutexLock lock(m_mutex);
    Lane& lane = m_lanes[laneOf(message.cmd)];
    if (!m_open || lane.isFull()) {
        ++(m_open ? m_counters.notAcceptedFull : m_counters.notAcceptedUnconnected);
        return false;
    }
    const std::size_t bytes = bytesOf(message);
    Entry entry;
    entry.message = std::move(message);
    lane.entries.push_back(std::move(entry));
    lane.bytes += bytes;
    ++m_counters.accepted;
    return true;
}

void Outbox::countUnusable() {
    const qolive::MutexLock lock(m_mutex);
    ++m_counters.accepted;
    ++m_counters.droppedUnusable;
}

MsgCenterCounters Outbox::counters(Clock::time_point now) {
    const qolive::MutexLock lock(m_mutex);
    MsgCenterCounters counters = m_counters;
    Clock::time_point oldest = now;
    for (const Lane& lane : m_lanes) {
        counters.waiting += lane.entries.size();
        if (!lane.entries.empty()) oldest = std::min(oldest, lane.entries.front().message.accepted);
    }
    counters.waitingRecords = m_lanes[kRecords].entries.size();
    counters.oldestWaitingMs = std::chrono::duration_cast<std::chrono::milliseconds>(now - oldest).count();
    return counters;
}

// Other threads only append, and appending to a deque moves no element.
const Message* Outbox::nextToPublish(const Room& room, Clock::time_point now) {
    const qolive::MutexLock lock(m_mutex);
    dropExpired(now);
    for (const LaneName name : {kHeartbeats, kCommands, kRecords}) {
        if (!m_lanes[name].hasWaiting() || !hasRoom(name, room, now)) continue;
        m_offered = name;
        return &m_lanes[name].firstWaiting().message;
    }
    return nullptr;
}

bool Outbox::hasRoom(LaneName name, const Room& room, Clock::time_point now) const {
    if (m_messagesInFlight >= room.messages) return false;
    if (name == kHeartbeats) return heartbeatsUnderWay(now) < kMostHeartbeatsInFlight;
    if (name == kCommands) return true;
    const std::size_t kept = std::min(kKeptFromRecords, room.messages / 2);
    return m_messagesInFlight + kept < room.messages && m_bytesInFlight < room.recordBytes;
}

std::size_t Outbox::heartbeatsUnderWay(Clock::time_point now) const {
    const Lane& lane = m_lanes[kHeartbeats];
    const auto end = lane.entries.begin() + static_cast<std::ptrdiff_t>(lane.inFlight);
    const auto underWay = std::count_if(lane.entries.begin(), end, [now](const Entry& entry) {
        return now - entry.published < kHeartbeatAnswerTime;
    });
    return static_cast<std::size_t>(underWay);
}

void Outbox::dropExpired(Clock::time_point now) {
    Lane& lane = m_lanes[kHeartbeats];
    while (lane.hasWaiting() && now - lane.firstWaiting().message.accepted > kHeartbeatLife) {
        lane.erase(lane.inFlight);
        ++m_expired;
        ++m_counters.droppedLate;
    }
}

void Outbox::published(int packetId, std::size_t bytes, Clock::time_point now) {
    const qolive::MutexLock lock(m_mutex);
    Lane& lane = m_lanes[m_offered];
    Entry& entry = lane.firstWaiting();
    entry.packetId = packetId;
    entry.packetBytes = bytes;
    entry.published = now;
    ++lane.inFlight;
    ++m_messagesInFlight;
    m_bytesInFlight += bytes;
    ++m_counters.published;
}

void Outbox::dropNext() {
    const qolive::MutexLock lock(m_mutex);
    m_lanes[m_offered].erase(m_lanes[m_offered].inFlight);
    ++m_counters.droppedUnusable;
}

std::optional<Outbox::Delivery> Outbox::acknowledged(int packetId, bool refused) {
    const qolive::MutexLock lock(m_mutex);
    for (Lane& lane : m_lanes) {
        for (std::size_t i = 0; i < lane.inFlight; ++i) {
            const Entry& entry = lane.entries[i];
            if (entry.packetId != packetId) continue;
            const Delivery delivery{entry.published, entry.packetBytes, m_bytesInFlight};
            lane.erase(i);
            --m_messagesInFlight;
            m_bytesInFlight -= delivery.bytes;
            ++(refused ? m_counters.refused : m_counters.acknowledged);
            return delivery;
        }
    }
    return std::nullopt;
}

void Outbox::connectionLost() {
    const qolive::MutexLock lock(m_mutex);
    for (Lane& lane : m_lanes)
        lane.inFlight = 0;
    m_messagesInFlight = 0;
    m_bytesInFlight = 0;
}

void Outbox::forgetHeartbeats() {
    const qolive::MutexLock lock(m_mutex);
    Lane& lane = m_lanes[kHeartbeats];
    for (; lane.hasWaiting(); ++m_counters.droppedAtReconnect)
        lane.erase(lane.inFlight);
}

std::size_t Outbox::takeExpired() {
    const qolive::MutexLock lock(m_mutex);
    return std::exchange(m_expired, 0);
}

bool Outbox::empty() {
    const qolive::MutexLock lock(m_mutex);
    return std::all_of(m_lanes.begin(), m_lanes.end(), [](const Lane& lane) { return lane.entries.empty(); });
}

}  // namespace mqtt
}  // namespace QoPlayer
