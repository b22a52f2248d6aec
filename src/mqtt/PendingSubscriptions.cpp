#include "mqtt/PendingSubscriptions.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "mqtt/Wire.h"

namespace QoPlayer {
namespace mqtt {
namespace {

constexpr auto kAnswerLimit = std::chrono::seconds(10);

}  // namespace

void PendingSubscriptions::follow(Senders& senders, Clock::time_point now) {
    for (const int cmd : senders.takeClosed())
        if (m_client.isAlive() && !senders.find(cmd)) takeBack(cmd);
    for (const Senders::Handle& sender : senders.all())
        if (m_client.isAlive() && !sender->subscribed) ask(sender, now);
}

void PendingSubscriptions::takeBack(int cmd) {
    if (m_client.unsubscribe(DownTopic(m_prefix, cmd)) != 0) ++m_unsubscribing;
}

void PendingSubscriptions::ask(const Senders::Handle& sender, Clock::time_point now) {
    sender->subscribed = true;
    const int packetId = m_client.subscribe(DownTopic(m_prefix, sender->cmd));
    m_subscribing[packetId] = {sender, now};
}

Senders::Handle PendingSubscriptions::takeAnswered(int packetId) {
    const auto found = m_subscribing.find(packetId);
    if (found == m_subscribing.end()) return nullptr;
    Senders::Handle sender = std::move(found->second.sender);
    m_subscribing.erase(found);
    return sender;
}

void PendingSubscriptions::takenBack() {
    if (m_unsubscribing > 0) --m_unsubscribing;
}

bool PendingSubscriptions::hangs(Clock::time_point now) const {
    return std::any_of(m_subscribing.begin(), m_subscribing.end(),
                       [now](const auto& entry) { return entry.second.since < now - kAnswerLimit; });
}

}  // namespace mqtt
}  // namespace QoPlayer
