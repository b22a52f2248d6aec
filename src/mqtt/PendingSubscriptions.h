#pragma once

#include <map>
#include <string>
#include <utility>

#include "mqtt/MqttClient.h"
#include "mqtt/Senders.h"

namespace QoPlayer {
namespace mqtt {

/// What one connection has asked its server for, so that the senders hear what comes for them, and which
/// answers are missing. On the network thread.
class PendingSubscriptions {
public:
    using Clock = SocketWaiter::Clock;

    PendingSubscriptions(MqttClient& connection, std::string prefix)
        : m_client(connection), m_prefix(std::move(prefix)) {}

    /// Takes the commands of closed senders back and asks for those of senders that it has not asked for on
    /// this connection.
    void follow(Senders& senders, Clock::time_point now);

    /// The sender whose subscription the server has answered under `packetId`; null when there is none.
    Senders::Handle takeAnswered(int packetId);

    /// The server has taken a command back.
    void takenBack();

    /// True while a sender has no answer yet.
    bool isSubscribing() const { return !m_subscribing.empty(); }

    /// True when nothing at all is missing.
    bool isAnswered() const { return m_subscribing.empty() && m_unsubscribing == 0; }

    /// True when a sender has waited for more than 10 s: it would never come alive.
    bool hangs(Clock::time_point now) const;

private:
    struct Subscribing {
        Senders::Handle sender;
        Clock::time_point since;
    };

    void takeBack(int cmd);
    void ask(const Senders::Handle& sender, Clock::time_point now);

    MqttClient& m_client;
    const std::string m_prefix;
    std::map<int, Subscribing> m_subscribing;
    int m_unsubscribing = 0;
};

}  // namespace mqtt
}  // namespace QoPlayer
