#include "mqtt/Link.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "mqtt/SdkLog.h"
#include "mqtt/Wire.h"
#include "network/Host.h"
#include "platform/Kernel.h"

namespace QoPlayer {
namespace mqtt {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr auto kConnectLimit = seconds(5);
constexpr auto kLookUpLimit = seconds(5);
constexpr auto kSubscribeLimit = seconds(10);
constexpr auto kServed = seconds(1);
constexpr auto kHeldLongEnough = seconds(30);
constexpr auto kDrainLimit = milliseconds(400);
constexpr auto kGoodbyeLimit = milliseconds(200);
// The client library counts its keep-alive in seconds, and has to be called to notice.
constexpr std::int64_t kLongestStepMs = 1000;
constexpr int kEndAttempts = 15;
constexpr DWORD kShortagePauseMs = 50;
// Where other ports are closed, a server can tell MQTT from HTTP by it.
constexpr int kHttpsPort = 443;
constexpr char kMqttProtocol[] = "mqtt";
constexpr char kNewToken[] = "a new token";  // short, so that it asks for no memory

std::string nameOf(const ServerAddress& address, const std::string& literal) {
    const std::string port = ":" + std::to_string(address.port);
    return literal == address.host ? literal + port : address.host + port + " (" + literal + ")";
}

}  // namespace

Link::Link(Settings settings, std::string connectionName, std::uint64_t seed, CenterState& state)
    : m_settings(std::move(settings)),
      m_prefix(TopicPrefix(m_settings.client, connectionName)),
      m_clientId(m_settings.client + "-" + connectionName),
      m_state(state),
      m_backoff(m_settings.longestPauseMs, seed) {
    m_state.token.begin(m_settings.token, m_settings.tokenExpiry);
}

int Link::stepMs(Clock::time_point end) const {
    const auto left = std::chrono::ceil<milliseconds>(end - now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, kLongestStepMs));
}

void Link::run() {
    m_state.status.set(MsgCenterState::Connecting, kStarting);
    m_state.senders.forgetWhatWasTold();
    while (!stopping())
        runGuarded();
    const std::size_t lost = m_state.outbox.close();
    m_state.status.set(MsgCenterState::Stopped, "stopped");
    RunSdkPass("error: out of memory: stopped", [this, lost] {
        if (lost > 0)
            m_state.log.write(LogLevel::Warning,
                              "stopped with " + std::to_string(lost) + " messages unacknowledged");
    });
}

void Link::runGuarded() {
    m_served = false;
    m_refused = false;
    const bool passed = RunSdkPass("error: out of memory: the connection is given up", [this] {
        if (tokenExpired()) parkWithExpiredToken();
        if (!stopping()) goThroughAddresses();
    });
    if (!passed) endAfterShortage();
    if (stopping() || tokenExpired()) return;
    if (!m_refused) m_state.status.set(MsgCenterState::Waiting, m_lastFailure);
    pause(now() + milliseconds(m_served ? m_backoff.pauseAfterServingMs() : m_backoff.nextPauseMs()));
}

// Whom a server has refused need not wait with a new token.
void Link::pause(Clock::time_point end) {
    const auto wait = [&] {
        while (!stopping() && now() < end && !renewedSinceRefusal())
            waitOnce(end);
    };
    while (!RunSdkPass("error: out of memory: new senders are told later", wait))
        Sleep(kShortagePauseMs);
    if (!stopping() && renewedSinceRefusal()) m_state.status.set(MsgCenterState::Connecting, kNewToken);
}

// A moment later there may be memory to tell the senders with, and no stop waits longer for it.
void Link::endAfterShortage() {
    for (int attempt = 0; attempt < kEndAttempts; ++attempt) {
        if (RunSdkPass("error: out of memory: the senders are told later",
                       [this] { endConnection("out of memory"); }))
            return;
        Sleep(kShortagePauseMs);
    }
}

void Link::parkWithExpiredToken() {
    m_state.log.write(LogLevel::Error, "the access token has expired: not connecting any more");
    m_state.status.set(MsgCenterState::TokenExpired, "the access token has expired");
    tellRefusal("the access token has expired");
    while (!stopping() && tokenExpired())
        waitOnce(now() + seconds(1));
    m_refusal.clear();
    if (!stopping()) m_state.status.set(MsgCenterState::Connecting, kNewToken);
}

// A server that refuses does so again as a rule, so that state lasts until another answer comes.
void Link::goThroughAddresses() {
    const MsgCenterStatus status = m_state.status.get();
    if (status.state != MsgCenterState::Refused)
        m_state.status.set(MsgCenterState::Connecting, status.reason);
    for (const ServerAddress& address : m_settings.addresses) {
        if (stopping() || tokenExpired() || tryAddress(address)) return;
    }
}

// True when it held long enough to begin with the first address again.
bool Link::tryAddress(const ServerAddress& address) {
    const std::string& proxy = m_settings.options.proxyHost;
    for (const std::string& literal : resolve(proxy.empty() ? address.host : proxy)) {
        if (stopping() || tryLiteral(address, literal)) return true;
    }
    return false;
}

std::vector<std::string> Link::resolve(const std::string& host) {
    const std::string literal = qolive::AsLiteralAddress(host);
    if (!literal.empty()) return {literal};
    const auto lookUp = m_state.lookUps.begin(host);
    const auto end = now() + kLookUpLimit;
    while (lookUp && !lookUp->hasEnded() && !stopping() && now() < end)
        waitOnce(end);
    if (stopping()) return {};
    if (!lookUp || !lookUp->hasEnded())
        noteFailure(LogLevel::Warning, "no answer to the name look-up of " + host);
    else if (lookUp->literals().empty())
        noteFailure(LogLevel::Warning, "no address found for " + host);
    else
        return lookUp->literals();
    return {};
}

bool Link::tryLiteral(const ServerAddress& address, const std::string& literal) {
    const bool plain = isPlain(literal);
    Connection::Options options;
    options.server = literal;
    options.port = address.port;
    m_server = nameOf(address, literal);
    useProxy(address, literal, options);
    m_server += plain ? " over plain TCP" : " over TLS";
    if (!plain && !prepareTls(address, options.tls)) return false;
    options.clientId = m_clientId;
    options.userName = m_settings.userName;
    AccessToken::Offer offer = m_state.token.offer();
    m_offeredToken = offer.renewal;
    options.token = std::move(offer.text);
    options.willTopic = PresenceTopic(m_prefix);
    options.cleanStart = !m_sessionKnown;
    options.keepAliveSeconds = m_settings.keepAliveSeconds;
    Connection connection(options, *this, *m_state.waiter);
    if (!establish(connection)) return false;
    const auto since = now();
    serve(connection);
    if (now() - since < kHeldLongEnough) return false;
    m_backoff.reset();
    return true;
}

// Where a proxy is, a loopback address is the proxy's.
bool Link::isPlain(const std::string& literal) const {
    return m_settings.tls == TlsUse::Never ||
           (m_settings.tls == TlsUse::ExceptLoopback && m_settings.options.proxyHost.empty() &&
            qolive::IsLoopbackAddress(literal));
}

bool Link::prepareTls(const ServerAddress& address, TlsContext*& tls) {
    const MsgCenterOptions& ways = m_settings.options;
    std::string problem;
    if (!m_tls)
        m_tls = TlsContext::make({m_settings.caFile, ways.clientCertificate, ways.clientKey}, problem);
    if (m_tls && !m_tls->expect(address.host)) problem = "no certificate can be for this name";
    if (!problem.empty()) {
        noteFailure(LogLevel::Error, "cannot connect to " + m_server + ": " + problem);
        return false;
    }
    m_tls->offer(ways.alpn.empty() && address.port == kHttpsPort ? kMqttProtocol : ways.alpn);
    tls = m_tls.get();
    return true;
}

// The proxy looks the server's name up.
void Link::useProxy(const ServerAddress& address, const std::string& literal, Connection::Options& options) {
    const MsgCenterOptions& ways = m_settings.options;
    if (ways.proxyHost.empty()) return;
    const std::string server = qolive::AsLiteralAddress(address.host);
    options.server = server.empty() ? address.host : server;
    options.proxy = {literal, ways.proxyPort, ways.proxyUser, ways.proxyPassword};
    m_server = nameOf(address, options.server) + " through the proxy " +
               nameOf({ways.proxyHost, ways.proxyPort}, literal);
}

bool Link::establish(Connection& connection) {
    const auto end = now() + kConnectLimit;
    while (connection.isAlive() && !connection.isConnected() && !stopping()) {
        if (now() >= end) connection.abandon("no answer within 5 s");
        connection.step(stepMs(end));
        tellNewSenders();
    }
    if (connection.isConnected()) return true;
    if (!connection.isAlive())
        reportFailure(connection);
    else if (connection.hasAsked())
        sayGoodbye(connection);
    return false;
}

void Link::reportFailure(const Connection& connection) {
    const std::string line = "cannot connect to " + m_server + ": " + connection.problem();
    if (connection.wasRefused()) {
        m_refused = true;
        m_refusedToken = m_offeredToken;
        m_state.status.set(MsgCenterState::Refused, line);
    }
    noteFailure(LogLevel::Warning, line);
    if (connection.wasRefused()) tellRefusal(line);
}

void Link::noteFailure(LogLevel level, const std::string& line) {
    m_state.log.write(level, line);
    m_lastFailure = line;
    if (m_state.status.state() == MsgCenterState::Connecting)
        m_state.status.set(MsgCenterState::Connecting, line);
}

void Link::serve(Connection& connection) {
    m_state.log.write(LogLevel::Info, "connected to " + m_server + " as " + m_clientId);
    m_connection = &connection;
    if (m_sessionKnown) m_state.reconnects.fetch_add(1, std::memory_order_relaxed);
    m_sessionKnown = true;
    m_refused = false;
    m_refusal.clear();
    m_note = "connected to " + m_server;
    const auto since = now();
    m_window = SendWindow();
    // A sender that is open begins anew, with a full heartbeat.
    if (m_state.senders.find(kHeartbeatCmd)) m_state.outbox.forgetHeartbeats();
    m_presenceMid = connection.publishPresence(PresenceTopic(m_prefix), true);
    for (const Senders::Handle& sender : m_state.senders.all())
        sender->subscribed = false;
    serviceSenders(connection);
    while (connection.isAlive() && !stopping()) {
        publishWaiting(connection);
        connection.step(kLongestStepMs);
        if (m_state.senders.takeChanged()) serviceSenders(connection);
        endIfSubscriptionHangs(connection);
    }
    m_served = m_served || (m_subscribing.empty() && now() - since >= kServed);
    if (stopping()) finish(connection);
    endConnection(stopping() ? "stopped" : "connection to " + m_server + " lost: " + connection.problem());
}

// The last messages of a host that ends its work should still arrive. A server that is answering while the connection
// is closed may not come to read the goodbye.
void Link::finish(Connection& connection) {
    m_drainEnd = now() + kDrainLimit;
    while (connection.isAlive() && !isAnswered() && now() < m_drainEnd) {
        publishWaiting(connection);
        connection.step(stepMs(m_drainEnd));
    }
    connection.publishPresence(PresenceTopic(m_prefix), false);
    sayGoodbye(connection);
}

void Link::sayGoodbye(Connection& connection) {
    if (connection.isAlive()) connection.disconnect();
    const auto end = now() + kGoodbyeLimit;
    while (connection.isAlive() && now() < end)
        connection.step(stepMs(end));
}

bool Link::isAnswered() {
    return m_state.outbox.empty() && m_presenceMid == 0 && m_subscribing.empty() && m_unsubscribing == 0;
}

void Link::serviceSenders(Connection& connection) {
    for (const int cmd : m_state.senders.takeClosed()) {
        if (!connection.isAlive() || m_state.senders.find(cmd)) continue;
        if (connection.unsubscribe(DownTopic(m_prefix, cmd)) != 0) ++m_unsubscribing;
    }
    for (const Senders::Handle& sender : m_state.senders.all()) {
        if (sender->subscribed || !connection.isAlive()) continue;
        sender->subscribed = true;
        const int mid = connection.subscribe(DownTopic(m_prefix, sender->cmd));
        m_subscribing[mid] = {sender, now()};
    }
    followSenders();
}

void Link::followSenders() {
    const std::vector<Senders::Handle> senders = m_state.senders.all();
    const bool isUp = senders.empty() || std::any_of(senders.begin(), senders.end(), [](const auto& sender) {
                          return sender->connected.load();
                      });
    if (isUp)
        m_state.status.set(MsgCenterState::Connected, m_note);
    else if (m_subscribing.empty())
        m_state.status.set(MsgCenterState::Refused, m_note);
    else if (m_state.status.state() != MsgCenterState::Connected)
        m_state.status.set(MsgCenterState::Connecting, m_note);
}

// Without it the sender would never come alive.
void Link::endIfSubscriptionHangs(Connection& connection) {
    const auto latest = now() - kSubscribeLimit;
    for (const auto& [mid, subscribing] : m_subscribing)
        if (subscribing.since < latest) return connection.abandon("no answer to a subscription within 10 s");
}

void Link::tellNewSenders() {
    if (m_refusal.empty() || !m_state.senders.takeChanged()) return;
    for (const Senders::Handle& sender : m_state.senders.all())
        if (sender->told != m_refusal) tell(sender, false, m_refusal);
}

void Link::publishWaiting(Connection& connection) {
    while (connection.isAlive()) {
        const std::size_t most = m_limits.mostInFlight - (m_presenceMid != 0 ? 1 : 0);
        const Message* const message = m_state.outbox.nextToPublish({most, m_window.bytes()}, now());
        if (!message || !publishNext(connection, *message)) break;
    }
    tellExpiredHeartbeats();
}

// One of them may have been a full one: told that it is connected, the sender begins with a full one again.
void Link::tellExpiredHeartbeats() {
    const std::size_t expired = m_state.outbox.takeExpired();
    const Senders::Handle sender = expired > 0 ? m_state.senders.find(kHeartbeatCmd) : nullptr;
    if (!sender || !sender->connected) return;
    const std::string count = std::to_string(expired);
    tell(sender, true, "still connected to " + m_server + ", but too slow for " + count + " heartbeats");
}

bool Link::publishNext(Connection& connection, const Message& message) {
    const std::string topic = UpTopic(m_prefix, message.cmd);
    const std::string responseTopic = DownTopic(m_prefix, message.cmd);
    const std::size_t size =
        UplinkPacketSize(topic.size(), responseTopic.size(), message.body.size(), message.head.size());
    if (size > m_limits.largestPacket) {
        m_state.log.write(LogLevel::Error,
                          "a message of command " + std::to_string(message.cmd) + " was dropped: its " +
                              std::to_string(size) + " bytes are more than the " +
                              std::to_string(m_limits.largestPacket) + " that the server takes");
        m_state.outbox.dropNext();
        return true;
    }
    const int mid = connection.publish(topic, responseTopic, message);
    if (mid == 0) return false;
    m_state.outbox.published(mid, size, now());
    return true;
}

void Link::onConnected(const ServerLimits& limits) {
    m_limits = limits;
}

void Link::onSubscribed(int mid, bool granted, const std::string& reason) {
    const auto found = m_subscribing.find(mid);
    if (found == m_subscribing.end()) return;
    const Senders::Handle sender = found->second.sender;
    m_subscribing.erase(found);
    if (granted) {
        tell(sender, true, "connected to " + m_server);
        return followSenders();
    }
    const std::string text = "the server refused the subscription of command " + std::to_string(sender->cmd) +
                             ": " + (reason.empty() ? "malformed answer" : reason);
    m_state.log.write(LogLevel::Warning, text);
    tell(sender, false, text);
    m_note = "connected to " + m_server + "; " + text;
    followSenders();
}

void Link::onUnsubscribed() {
    if (m_unsubscribing > 0) --m_unsubscribing;
}

void Link::onAcknowledged(int mid, const std::string& refusal) {
    if (mid == m_presenceMid) {
        m_presenceMid = 0;
        if (!refusal.empty())
            m_state.log.write(LogLevel::Warning, "the server refused the presence: " + refusal);
        return;
    }
    const auto delivery = m_state.outbox.acknowledged(mid, !refusal.empty());
    if (!delivery) return;
    m_window.acknowledged(delivery->published, now(), delivery->bytes, delivery->bytesInFlight);
    if (!refusal.empty()) tellRefusedMessage(refusal);
}

void Link::tellRefusedMessage(const std::string& refusal) {
    m_state.log.write(LogLevel::Error, "a message was dropped: the server refused it: " + refusal);
    m_note = "connected to " + m_server + "; it has refused messages: " + refusal;
    followSenders();
}

void Link::onMessage(const char* topic, const void* payload, std::size_t length) {
    if (stopping() && m_drainEnd != Clock::time_point() && now() >= m_drainEnd)
        return m_connection->abandon("stopped");
    int cmd = 0;
    if (!CmdOfDownTopic(m_prefix, topic, cmd)) return;
    if (const Senders::Handle sender = m_state.senders.find(cmd))
        m_state.senders.notify(sender, 1, 0, payload, length);
}

void Link::endConnection(const std::string& reason) {
    m_state.log.write(stopping() ? LogLevel::Info : LogLevel::Warning, reason);
    m_connection = nullptr;
    m_lastFailure = reason;
    m_presenceMid = 0;
    m_subscribing.clear();
    m_unsubscribing = 0;
    m_state.outbox.connectionLost();
    for (const Senders::Handle& sender : m_state.senders.all())
        if (sender->connected) tell(sender, false, reason);
    if (!stopping()) m_state.status.set(MsgCenterState::Connecting, reason);
}

void Link::tellRefusal(const std::string& reason) {
    m_refusal = reason;
    m_state.senders.takeChanged();
    for (const Senders::Handle& sender : m_state.senders.all())
        if (sender->told != reason) tell(sender, false, reason);
}

// Who has not heard yet that the connection is lost still hands messages over: they are kept for the next one. A stop
// keeps none, so they are refused then.
void Link::tell(const Senders::Handle& sender, bool connected, const std::string& text) {
    sender->told = connected ? std::string() : text;
    if (connected || stopping()) sender->connected = connected;
    m_state.senders.notify(sender, 0, connected ? 1 : 0, text.data(), text.size());
    sender->connected = connected;
}

void Link::waitOnce(Clock::time_point end) {
    m_state.waiter->wait(stepMs(end));
    tellNewSenders();
}

}  // namespace mqtt
}  // namespace QoPlayer
