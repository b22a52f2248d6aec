#include "platform/mqtt/Outbox.h"

#include <algorithm>
#include <utility>

namespace QoPlayer {
namespace mqtt {

void Outbox::open() {
    const MutexLock lock(m_mutex);
    m_open = true;
}

std::size_t Outbox::close() {
    const MutexLock lock(m_mutex);
    const std::size_t left = m_entries.size();
    m_open = false;
    m_entries.clear();
    m_inFlight = 0;
    m_bytesInFlight = 0;
    m_bytes = 0;
    return left;
}

bool Outbox::add(Message&& message) {
    const MutexLock lock(m_mutex);
    if (!m_open || m_entries.size() >= kMostMessages || m_bytes >= kMostBytes) return false;
    const std::size_t bytes = bytesOf(message);
    m_entries.push_back({std::move(message), 0});
    m_bytes += bytes;
    return true;
}

// Other threads only append, and appending to a deque moves no element.
const Message* Outbox::nextToPublish(std::size_t mostInFlight) {
    const MutexLock lock(m_mutex);
    const bool room = m_inFlight < mostInFlight && m_bytesInFlight < kMostBytesInFlight;
    return room && m_inFlight < m_entries.size() ? &m_entries[m_inFlight].message : nullptr;
}

void Outbox::published(int mid) {
    const MutexLock lock(m_mutex);
    Entry& entry = m_entries[m_inFlight++];
    entry.mid = mid;
    m_bytesInFlight += bytesOf(entry.message);
}

void Outbox::dropNext() {
    const MutexLock lock(m_mutex);
    const auto entry = m_entries.begin() + static_cast<std::ptrdiff_t>(m_inFlight);
    m_bytes -= bytesOf(entry->message);
    m_entries.erase(entry);
}

bool Outbox::acknowledged(int mid) {
    const MutexLock lock(m_mutex);
    const auto end = m_entries.begin() + static_cast<std::ptrdiff_t>(m_inFlight);
    const auto entry =
        std::find_if(m_entries.begin(), end, [mid](const Entry& candidate) { return candidate.mid == mid; });
    if (entry == end) return false;
    m_bytes -= bytesOf(entry->message);
    m_bytesInFlight -= bytesOf(entry->message);
    m_entries.erase(entry);
    --m_inFlight;
    return true;
}

void Outbox::connectionLost() {
    const MutexLock lock(m_mutex);
    m_inFlight = 0;
    m_bytesInFlight = 0;
}

bool Outbox::empty() {
    const MutexLock lock(m_mutex);
    return m_entries.empty();
}

}  // namespace mqtt
}  // namespace QoPlayer
