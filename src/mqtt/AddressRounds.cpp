#include "mqtt/AddressRounds.h"

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

constexpr auto kLookUpLimit = seconds(5);
constexpr auto kHeldLongEnough = seconds(30);
constexpr int kEndAttempts = 15;
constexpr DWORD kShortagePauseMs = 50;
constexpr char kNewToken[] = "a new token";  // short, so that it asks for no memory

}  // namespace

AddressRounds::AddressRounds(Settings settings, const std::string& connectionName, std::uint64_t seed,
                             CenterState& state)
    : m_settings(std::move(settings)),
      m_prefix(TopicPrefix(m_settings.client, connectionName)),
      m_clientId(m_settings.client + "-" + connectionName),
      m_state(state),
      m_refusal(state),
      m_backoff(m_settings.longestPauseMs, seed) {
    m_state.token.begin(m_settings.token, m_settings.tokenExpiry);
}

void AddressRounds::run() {
    m_state.status.set(MsgCenterState::Connecting, kStarting);
    m_state.senders.forgetWhatWasTold();
    while (!stopping())
        goRound();
    const std::size_t lost = m_state.outbox.close();
    m_state.status.set(MsgCenterState::Stopped, "stopped");
    RunSdkPass("error: out of memory: stopped", [this, lost] {
        if (lost > 0)
            m_state.log.write(LogLevel::Warning,
                              "stopped with " + std::to_string(lost) + " messages unacknowledged");
    });
}

void AddressRounds::goRound() {
    m_served = false;
    m_refusedToken.reset();
    const bool passed = RunSdkPass("error: out of memory: the connection is given up", [this] {
        if (tokenExpired()) park();
        if (!stopping()) goThroughAddresses();
    });
    if (!passed) endAfterShortage();
    if (stopping() || tokenExpired()) return;
    if (!m_refusedToken) m_state.status.set(MsgCenterState::Waiting, m_lastFailure);
    pause(now() + milliseconds(m_served ? m_backoff.pauseAfterServingMs() : m_backoff.nextPauseMs()));
}

// After a refusal, a new token ends the pause.
void AddressRounds::pause(Clock::time_point end) {
    const auto wait = [&] {
        while (!stopping() && now() < end && !renewedSinceRefusal())
            waitOnce(end);
    };
    while (!RunSdkPass("error: out of memory: new senders are told later", wait))
        Sleep(kShortagePauseMs);
    if (!stopping() && renewedSinceRefusal()) m_state.status.set(MsgCenterState::Connecting, kNewToken);
}

bool AddressRounds::renewedSinceRefusal() const {
    return m_refusedToken && *m_refusedToken != m_state.token.renewals();
}

void AddressRounds::park() {
    const std::string expired = "the access token has expired";
    m_state.log.write(LogLevel::Error, expired + ": not connecting any more");
    m_state.status.set(MsgCenterState::TokenExpired, expired);
    m_refusal.stand(expired);
    while (!stopping() && tokenExpired())
        waitOnce(now() + seconds(1));
    m_refusal.lift();
    if (!stopping()) m_state.status.set(MsgCenterState::Connecting, kNewToken);
}

void AddressRounds::waitOnce(Clock::time_point end) {
    m_state.waiter->wait(m_state.stepMs(end));
    m_refusal.tellNewSenders();
}

// A server that refuses does so again as a rule, so that state lasts until another answer comes.
void AddressRounds::goThroughAddresses() {
    const MsgCenterStatus status = m_state.status.get();
    if (status.state != MsgCenterState::Refused)
        m_state.status.set(MsgCenterState::Connecting, status.reason);
    for (const ServerAddress& address : m_settings.addresses)
        if (stopping() || tokenExpired() || tryAddress(address)) return;
}

// True when it held long enough to begin with the first address again.
bool AddressRounds::tryAddress(const ServerAddress& address) {
    for (const std::string& literal : resolve(HostToLookUp(address, m_settings)))
        if (stopping() || tryRoute(RouteTo(address, literal, m_settings))) return true;
    return false;
}

std::vector<std::string> AddressRounds::resolve(const std::string& host) {
    const std::string literal = qolive::AsLiteralAddress(host);
    if (!literal.empty()) return {literal};
    const auto lookUp = m_state.lookUps.begin(host);
    const auto end = now() + kLookUpLimit;
    while (lookUp && !lookUp->hasEnded() && !stopping() && now() < end)
        waitOnce(end);
    if (stopping()) return {};
    const bool answered = lookUp && lookUp->hasEnded();
    auto literals = answered ? lookUp->literals() : std::vector<std::string>();
    if (literals.empty())
        noteFailure(LogLevel::Warning,
                    (answered ? "no address found for " : "no answer to the name look-up of ") + host);
    return literals;
}

// True when a connection was made that held long enough.
bool AddressRounds::tryRoute(const ServerRoute& route) {
    TlsContext* const tls = route.plain ? nullptr : tlsFor(route);
    if (!route.plain && !tls) return false;
    const AccessToken::Offer offer = m_state.token.offer();
    MqttClient::Options options = optionsFor(route, offer.text);
    options.tls = tls;
    ConnectionLife life(options, route.name, m_prefix, m_state);
    const auto attempt = life.establish(m_refusal);
    if (attempt == ConnectionLife::Attempt::Connected) return live(life, route);
    if (attempt == ConnectionLife::Attempt::Stopped) return false;
    const std::string line = "cannot connect to " + route.name + ": " + life.problem();
    if (life.wasRefused())
        noteRefusal(line, offer.renewal);
    else
        noteFailure(LogLevel::Warning, line);
    return false;
}

TlsContext* AddressRounds::tlsFor(const ServerRoute& route) {
    const MsgCenterOptions& options = m_settings.options;
    std::string problem;
    if (!m_tls)
        m_tls = TlsContext::make({m_settings.caFile, options.clientCertificate, options.clientKey}, problem);
    if (m_tls && !m_tls->expect(route.host)) problem = "no certificate can be for this name";
    if (!problem.empty()) {
        noteFailure(LogLevel::Error, "cannot connect to " + route.name + ": " + problem);
        return nullptr;
    }
    m_tls->offer(route.alpn);
    return m_tls.get();
}

MqttClient::Options AddressRounds::optionsFor(const ServerRoute& route, const std::string& token) const {
    MqttClient::Options options;
    options.server = route.server;
    options.port = route.port;
    options.proxy = route.proxy;
    options.clientId = m_clientId;
    options.userName = m_settings.userName;
    options.token = token;
    options.willTopic = PresenceTopic(m_prefix);
    options.cleanStart = !m_sessionKnown;
    options.keepAliveSeconds = m_settings.keepAliveSeconds;
    return options;
}

// True when it held long enough.
bool AddressRounds::live(ConnectionLife& life, const ServerRoute& route) {
    const auto since = now();
    noteConnected(route);
    const std::string end = life.serve();
    m_served = m_served || life.hasServed();
    endConnection(end);
    if (now() - since < kHeldLongEnough) return false;
    m_backoff.reset();
    return true;
}

void AddressRounds::noteConnected(const ServerRoute& route) {
    m_state.log.write(LogLevel::Info, "connected to " + route.name + " as " + m_clientId);
    if (m_sessionKnown) m_state.reconnects.fetch_add(1, std::memory_order_relaxed);
    m_sessionKnown = true;
    m_refusedToken.reset();
    m_refusal.lift();
}

void AddressRounds::noteFailure(LogLevel level, const std::string& line) {
    m_state.log.write(level, line);
    m_lastFailure = line;
    if (m_state.status.state() == MsgCenterState::Connecting)
        m_state.status.set(MsgCenterState::Connecting, line);
}

void AddressRounds::noteRefusal(const std::string& line, std::uint64_t offeredToken) {
    m_refusedToken = offeredToken;
    m_state.status.set(MsgCenterState::Refused, line);
    noteFailure(LogLevel::Warning, line);
    m_refusal.stand(line);
}

void AddressRounds::endConnection(const std::string& reason) {
    m_state.log.write(stopping() ? LogLevel::Info : LogLevel::Warning, reason);
    m_lastFailure = reason;
    m_state.outbox.connectionLost();
    for (const Senders::Handle& sender : m_state.senders.all())
        if (sender->connected) m_state.tell(sender, false, reason);
    if (!stopping()) m_state.status.set(MsgCenterState::Connecting, reason);
}

// A moment later there may be memory to tell the senders with, and no stop waits longer for it.
void AddressRounds::endAfterShortage() {
    for (int attempt = 0; attempt < kEndAttempts; ++attempt) {
        if (RunSdkPass("error: out of memory: the senders are told later",
                       [this] { endConnection("out of memory"); }))
            return;
        Sleep(kShortagePauseMs);
    }
}

}  // namespace mqtt
}  // namespace QoPlayer
