#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "mqtt/CenterState.h"
#include "mqtt/ConnectionRefusal.h"
#include "mqtt/MqttClient.h"
#include "mqtt/PendingSubscriptions.h"
#include "mqtt/SendWindow.h"

namespace QoPlayer {
namespace mqtt {

/// One connection to one server, from the attempt to the goodbye. Its life:
///
///     connecting   `establish`, for 5 s at most. Nothing is sent.
///     connected    `serve`. Presence goes out first, then the subscriptions; messages go at once, as lanes,
///                  server and send window let them. Each sender hears of the connection when its
///                  subscription is granted, and stays without one when it is refused.
///     ending       At a stop: what waits is sent and acknowledgements are awaited, for 400 ms at most.
///     goodbye      The presence is taken back and the server told, for 200 ms at most.
///     over         By a stop, or with `problem` at any time before: lost, refused, abandoned.
///
/// Whoever has it tells the senders that it is over. On the network thread.
class ConnectionLife final : private ConnectionEvents {
public:
    enum class Attempt { Connected, Failed, Stopped };

    /// `server` is its name for a person, `prefix` that of the connection's topics.
    ConnectionLife(const MqttClient::Options& options, const std::string& server, const std::string& prefix,
                   CenterState& state);

    /// Returns once it is connected or over. Senders that are opened meanwhile hear of `standing`.
    Attempt establish(ConnectionRefusal& standing);

    /// Returns once it is over, and says why. To be called once connected.
    std::string serve();

    const std::string& problem() const { return m_client.problem(); }
    bool wasRefused() const { return m_client.wasRefused(); }

    /// True when it was of use: connected for a second, with no subscription unanswered at its end.
    bool hasServed() const { return m_served; }

private:
    using Clock = std::chrono::steady_clock;

    void onConnected(const ServerLimits& limits) override;
    void onSubscribed(int packetId, bool granted, const std::string& reason) override;
    void onUnsubscribed() override;
    void onAcknowledged(int packetId, const std::string& refusal) override;
    void onMessage(const char* topic, const void* payload, std::size_t length) override;

    bool stopping() const { return m_state.stopping; }
    Clock::time_point now() const { return m_state.waiter->now(); }
    void begin();
    void serviceSenders();
    void showSenders();
    void publishWaiting();
    bool publishNext(const Message& message);
    void dropOversize(int cmd, std::size_t size);
    void tellExpiredHeartbeats();
    void tellPresenceAnswer(const std::string& refusal);
    void tellRefusedMessage(const std::string& refusal);
    void tellRefusedSubscription(const Senders::Handle& sender, const std::string& reason);
    void finish();
    void sayGoodbye();

    CenterState& m_state;
    const std::string m_server;
    const std::string m_prefix;
    std::string m_note;  ///< what the status says while it is connected
    MqttClient m_client;
    PendingSubscriptions m_subscriptions;
    ServerLimits m_limits;
    SendWindow m_window;
    int m_presencePacketId = 0;  ///< of the presence, until it is acknowledged
    bool m_served = false;
    Clock::time_point m_drainEnd = Clock::time_point::max();
};

}  // namespace mqtt
}  // namespace QoPlayer
