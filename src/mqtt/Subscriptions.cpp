#include "mqtt/Subscriptions.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "mqtt/Wire.h"

namespace QoPlayer {
namespace mqtt {
namespace {

constexpr auto kAnswerLimit = std::chrono::seconds(10);

}  // namespace

void Subscriptions::follow(Senders& senders, Clock::time_point now) {
    for (const int cmd : senders.takeClosed())
        if (m_connection.isAlive() && !senders.find(cmd)) takeBack(cmd);
    for (const Senders::Handle& sender : senders.all())
        if (m_connection.isAlive() && !sender->subscribed) ask(sender, now);
}

void Subscriptions::takeBack(int cmd) {
    if (m_connection.unsubscribe(DownTopic(m_prefix, cmd)) != 0) ++m_unsubscribing;
}

void Subscriptions::ask(const Senders::Handle& sender, Clock::time_point now) {
    sender->subscribed = true;
    const int mid = m_connection.subscribe(DownTopic(m_prefix, sender->cmd));
    m_subscribing[mid] = {sender, now};
}

Senders::Handle Subscriptions::takeAnswered(int mid) {
    const auto found = m_subscribing.find(mid);
    if (found == m_subscribing.end()) return nullptr;
    Senders::Handle sender = std::move(found->second.sender);
    m_subscribing.erase(found);
    return sender;
}

void Subscriptions::takenBack() {
    if (m_unsubscribing > 0) --m_unsubscribing;
}

bool Subscriptions::hangs(Clock::time_point now) const {
    return std::any_of(m_subscribing.begin(), m_subscribing.end(),
                       [now](const auto& entry) { return entry.second.since < now - kAnswerLimit; });
}

}  // namespace mqtt
}  // namespace QoPlayer
