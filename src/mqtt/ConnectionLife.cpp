#include "mqtt/ConnectionLife.h"

#include <algorithm>
#include <vector>

#include "mqtt/Wire.h"
#include "platform/Commands.h"

namespace QoPlayer {
namespace mqtt {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr auto kConnectLimit = seconds(5);
constexpr auto kServed = seconds(1);
constexpr auto kDrainLimit = milliseconds(400);
constexpr auto kGoodbyeLimit = milliseconds(200);

bool IsAnyConnected(const std::vector<Senders::Handle>& senders) {
    return std::any_of(senders.begin(), senders.end(),
                       [](const auto& sender) { return sender->connected.load(); });
}

}  // namespace

ConnectionLife::ConnectionLife(const MqttClient::Options& options, const std::string& server,
                               const std::string& prefix, CenterState& state)
    : m_state(state),
      m_server(server),
      m_prefix(prefix),
      m_note("connected to " + server),
      m_client(options, *this, *state.waiter),
      m_subscriptions(m_client, prefix) {}

ConnectionLife::Attempt ConnectionLife::establish(ConnectionRefusal& standing) {
    const auto end = now() + kConnectLimit;
    while (m_client.isAlive() && !m_client.isConnected() && !stopping()) {
        if (now() >= end) m_client.abandon("no answer within 5 s");
        m_client.step(m_state.stepMs(end));
        standing.tellNewSenders();
    }
    if (m_client.isConnected()) return Attempt::Connected;
    if (!m_client.isAlive()) return Attempt::Failed;
    if (m_client.hasAsked()) sayGoodbye();
    return Attempt::Stopped;
}

std::string ConnectionLife::serve() {
    const auto since = now();
    begin();
    while (m_client.isAlive() && !stopping()) {
        publishWaiting();
        m_client.step(kLongestStepMs);
        if (m_state.senders.takeChanged()) serviceSenders();
        if (m_subscriptions.hangs(now())) m_client.abandon("no answer to a subscription within 10 s");
    }
    m_served = !m_subscriptions.isSubscribing() && now() - since >= kServed;
    if (stopping()) finish();
    return stopping() ? "stopped" : "connection to " + m_server + " lost: " + m_client.problem();
}

void ConnectionLife::begin() {
    // A sender that is open begins anew, with a full heartbeat.
    if (m_state.senders.find(qolive::kHeartbeatCommand)) m_state.outbox.forgetHeartbeats();
    m_presencePacketId = m_client.publishPresence(PresenceTopic(m_prefix), true);
    for (const Senders::Handle& sender : m_state.senders.all())
        sender->subscribed = false;
    serviceSenders();
}

// The last messages of a host that ends its work should still arrive. A server that is answering while the
// connection is closed may not come to read the goodbye.
void ConnectionLife::finish() {
    m_drainEnd = now() + kDrainLimit;
    const auto isDrained = [this] {
        return m_state.outbox.empty() && m_presencePacketId == 0 && m_subscriptions.isAnswered();
    };
    while (m_client.isAlive() && !isDrained() && now() < m_drainEnd) {
        publishWaiting();
        m_client.step(m_state.stepMs(m_drainEnd));
    }
    m_client.publishPresence(PresenceTopic(m_prefix), false);
    sayGoodbye();
}

void ConnectionLife::sayGoodbye() {
    if (m_client.isAlive()) m_client.disconnect();
    const auto end = now() + kGoodbyeLimit;
    while (m_client.isAlive() && now() < end)
        m_client.step(m_state.stepMs(end));
}

void ConnectionLife::serviceSenders() {
    m_subscriptions.follow(m_state.senders, now());
    showSenders();
}

void ConnectionLife::showSenders() {
    const std::vector<Senders::Handle> senders = m_state.senders.all();
    if (senders.empty() || IsAnyConnected(senders))
        m_state.status.set(MsgCenterState::Connected, m_note);
    else if (!m_subscriptions.isSubscribing())
        m_state.status.set(MsgCenterState::Refused, m_note);
    else if (m_state.status.state() != MsgCenterState::Connected)
        m_state.status.set(MsgCenterState::Connecting, m_note);
}

void ConnectionLife::publishWaiting() {
    while (m_client.isAlive()) {
        const std::size_t most = m_limits.mostInFlight - (m_presencePacketId != 0 ? 1 : 0);
        const Message* const message = m_state.outbox.nextToPublish({most, m_window.bytes()}, now());
        if (!message || !publishNext(*message)) break;
    }
    tellExpiredHeartbeats();
}

bool ConnectionLife::publishNext(const Message& message) {
    const std::string topic = UpTopic(m_prefix, message.cmd);
    const std::string responseTopic = DownTopic(m_prefix, message.cmd);
    const std::size_t size =
        UplinkPacketSize(topic.size(), responseTopic.size(), message.body.size(), message.head.size());
    if (size > m_limits.largestPacket) {
        dropOversize(message.cmd, size);
        return true;
    }
    const int packetId = m_client.publish(topic, responseTopic, message);
    if (packetId == 0) return false;
    m_state.outbox.published(packetId, size, now());
    return true;
}

void ConnectionLife::dropOversize(int cmd, std::size_t size) {
    m_state.log.write(LogLevel::Error, "a message of command " + std::to_string(cmd) + " was dropped: its " +
                                           std::to_string(size) + " bytes are more than the " +
                                           std::to_string(m_limits.largestPacket) + " that the server takes");
    m_state.outbox.dropNext();
}

// One of them may have been a full one: told that it is connected, the sender begins with a full one again.
void ConnectionLife::tellExpiredHeartbeats() {
    const std::size_t expired = m_state.outbox.takeExpired();
    const Senders::Handle sender = expired > 0 ? m_state.senders.find(qolive::kHeartbeatCommand) : nullptr;
    if (!sender || !sender->connected) return;
    m_state.tell(
        sender, true,
        "still connected to " + m_server + ", but too slow for " + std::to_string(expired) + " heartbeats");
}

void ConnectionLife::onConnected(const ServerLimits& limits) {
    m_limits = limits;
}

void ConnectionLife::onSubscribed(int packetId, bool granted, const std::string& reason) {
    const Senders::Handle sender = m_subscriptions.takeAnswered(packetId);
    if (!sender) return;
    if (granted)
        m_state.tell(sender, true, "connected to " + m_server);
    else
        tellRefusedSubscription(sender, reason.empty() ? "malformed answer" : reason);
    showSenders();
}

void ConnectionLife::tellRefusedSubscription(const Senders::Handle& sender, const std::string& reason) {
    const std::string text =
        "the server refused the subscription of command " + std::to_string(sender->cmd) + ": " + reason;
    m_state.log.write(LogLevel::Warning, text);
    m_state.tell(sender, false, text);
    m_note = "connected to " + m_server + "; " + text;
}

void ConnectionLife::onUnsubscribed() {
    m_subscriptions.takenBack();
}

void ConnectionLife::onAcknowledged(int packetId, const std::string& refusal) {
    if (packetId == m_presencePacketId) return tellPresenceAnswer(refusal);
    const auto delivery = m_state.outbox.acknowledged(packetId, !refusal.empty());
    if (!delivery) return;
    m_window.acknowledged(delivery->published, now(), delivery->bytes, delivery->bytesInFlight);
    if (!refusal.empty()) tellRefusedMessage(refusal);
}

void ConnectionLife::tellPresenceAnswer(const std::string& refusal) {
    m_presencePacketId = 0;
    if (!refusal.empty()) m_state.log.write(LogLevel::Warning, "the server refused the presence: " + refusal);
}

void ConnectionLife::tellRefusedMessage(const std::string& refusal) {
    m_state.log.write(LogLevel::Error, "a message was dropped: the server refused it: " + refusal);
    m_note = "connected to " + m_server + "; it has refused messages: " + refusal;
    showSenders();
}

void ConnectionLife::onMessage(const char* topic, const void* payload, std::size_t length) {
    if (now() >= m_drainEnd) return m_client.abandon("stopped");
    int cmd = 0;
    if (!CmdOfDownTopic(m_prefix, topic, cmd)) return;
    if (const Senders::Handle sender = m_state.senders.find(cmd))
        m_state.senders.notify(sender, kDataMessage, 0, payload, length);
}

}  // namespace mqtt
}  // namespace QoPlayer
