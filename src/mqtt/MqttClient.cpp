#include "mqtt/MqttClient.h"

#include <mqtt_protocol.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <cstdlib>

#include "mqtt/NetworkThread.h"
#include "mqtt/Outbox.h"
#include "mqtt/SdkLog.h"
#include "mqtt/TlsContext.h"
#include "mqtt/Wire.h"

namespace QoPlayer {
namespace mqtt {
namespace {

constexpr int kSessionSeconds = 600;
constexpr int kLargestDownlinkPacket = 64 * 1024;
constexpr int kMostDownlinksInFlight = 20;
constexpr int kMostUplinksInFlight = 64;
constexpr int kFirstRefusal = 0x80;
constexpr int kPacketsAtOnce = 16;

class Properties {
public:
    Properties() = default;
    ~Properties() { mosquitto_property_free_all(&m_list); }
    Properties(const Properties&) = delete;
    Properties& operator=(const Properties&) = delete;

    void addInt32(int identifier, std::uint32_t value) {
        mosquitto_property_add_int32(&m_list, identifier, value);
    }
    void addString(int identifier, const char* value) {
        mosquitto_property_add_string(&m_list, identifier, value);
    }
    void addUser(const char* name, const char* value) {
        mosquitto_property_add_string_pair(&m_list, MQTT_PROP_USER_PROPERTY, name, value);
    }
    const mosquitto_property* get() const { return m_list; }

private:
    mosquitto_property* m_list = nullptr;
};

std::string ReasonText(int code, const mosquitto_property* properties) {
    std::string text = mosquitto_reason_string(code);
    char* detail = nullptr;
    mosquitto_property_read_string(properties, MQTT_PROP_REASON_STRING, &detail, false);
    if (detail && *detail) text += " (" + Shortened(detail) + ")";
    std::free(detail);
    return text;
}

ServerLimits LimitsOf(const mosquitto_property* properties) {
    std::uint16_t inFlight = 65535;
    std::uint32_t packet = kLargestPacket;
    mosquitto_property_read_int16(properties, MQTT_PROP_RECEIVE_MAXIMUM, &inFlight, false);
    mosquitto_property_read_int32(properties, MQTT_PROP_MAXIMUM_PACKET_SIZE, &packet, false);
    ServerLimits limits;
    limits.mostInFlight = std::min<std::size_t>(inFlight, kMostUplinksInFlight);
    limits.largestPacket = std::min<std::size_t>(packet, kLargestPacket);
    return limits;
}

bool Acknowledges(const mosquitto_property* properties) {
    std::uint8_t qos = 2;
    mosquitto_property_read_byte(properties, MQTT_PROP_MAXIMUM_QOS, &qos, false);
    return qos >= 1;
}

const char* TextOrNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

}  // namespace

/// What the client library calls. Nothing may be thrown through it.
class MqttClient::Callbacks {
public:
    static void onConnect(mosquitto*, void* user, int code, int, const mosquitto_property* properties) {
        MqttClient& self = of(user);
        self.guarded([&] {
            if (code != 0) {
                self.m_refused = true;
                self.fail("refused by the server: " + ReasonText(code, properties));
            } else if (self.m_connected) {
                self.fail("the server answered the connection twice");
            } else if (!Acknowledges(properties)) {
                self.m_refused = true;
                self.fail("the server acknowledges no messages");
            } else {
                self.m_connected = true;
                self.m_events.onConnected(LimitsOf(properties));
            }
        });
    }

    static void onDisconnect(mosquitto*, void* user, int code, const mosquitto_property* properties) {
        MqttClient& self = of(user);
        self.guarded([&] {
            if (code >= kFirstRefusal)
                self.fail("closed by the server: " + ReasonText(code, properties));
            else if (code == 0)
                self.fail("closed");
        });
    }

    static void onSubscribe(mosquitto*, void* user, int packetId, int count, const int* codes,
                            const mosquitto_property* properties) {
        MqttClient& self = of(user);
        self.guarded([&] {
            const bool granted = count == 1 && codes[0] < kFirstRefusal;
            self.m_events.onSubscribed(packetId, granted,
                                       granted || count != 1 ? "" : ReasonText(codes[0], properties));
        });
    }

    static void onUnsubscribe(mosquitto*, void* user, int, const mosquitto_property*) {
        MqttClient& self = of(user);
        self.guarded([&] { self.m_events.onUnsubscribed(); });
    }

    static void onPublish(mosquitto*, void* user, int packetId, int code,
                          const mosquitto_property* properties) {
        MqttClient& self = of(user);
        self.guarded([&] {
            self.m_events.onAcknowledged(packetId, code < kFirstRefusal ? "" : ReasonText(code, properties));
        });
    }

    static void onMessage(mosquitto*, void* user, const mosquitto_message* message,
                          const mosquitto_property*) {
        MqttClient& self = of(user);
        self.guarded([&] {
            const void* const payload = message->payload ? message->payload : "";
            self.m_events.onMessage(message->topic, payload, static_cast<std::size_t>(message->payloadlen));
        });
    }

    static void onLog(mosquitto*, void* user, int level, const char* line) {
        MqttClient& self = of(user);
        if (level == MOSQ_LOG_ERR) self.guarded([&] { self.m_libraryError = Shortened(line); });
    }

private:
    static MqttClient& of(void* user) { return *static_cast<MqttClient*>(user); }
};

template <class Action>
void MqttClient::guarded(Action action) {
    try {
        action();
    } catch (const std::exception&) {
        m_problem = "out of memory";
    }
}

MqttClient::MqttClient(const Options& options, ConnectionEvents& events, SocketWaiter& waiter)
    : m_events(events), m_waiter(waiter), m_tls(options.tls), m_viaProxy(!options.proxy.literal.empty()) {
    {
        const SignalGuard keepSignals;
        m_client.reset(mosquitto_new(options.clientId.c_str(), options.cleanStart, this));
    }
    if (!m_client || !configure(options))
        fail("the client library gives no connection");
    else
        open(options);
}

MqttClient::~MqttClient() = default;

bool MqttClient::configure(const Options& options) {
    mosquitto* const client = m_client.get();
    setCallbacks();
    const bool set =
        mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5) == MOSQ_ERR_SUCCESS &&
        mosquitto_int_option(client, MOSQ_OPT_RECEIVE_MAXIMUM, kMostDownlinksInFlight) == MOSQ_ERR_SUCCESS &&
        mosquitto_int_option(client, MOSQ_OPT_SEND_MAXIMUM, kMostUplinksInFlight) == MOSQ_ERR_SUCCESS &&
        mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1) == MOSQ_ERR_SUCCESS &&
        mosquitto_username_pw_set(client, options.userName.c_str(), TextOrNull(options.token)) ==
            MOSQ_ERR_SUCCESS &&
        mosquitto_will_set_v5(client, options.willTopic.c_str(), sizeof kOffline - 1, kOffline, 1, false,
                              nullptr) == MOSQ_ERR_SUCCESS &&
        useProxy(options.proxy);
    if (!set || !m_tls) return set;
    return mosquitto_int_option(client, MOSQ_OPT_SSL_CTX_WITH_DEFAULTS, 0) == MOSQ_ERR_SUCCESS &&
           mosquitto_void_option(client, MOSQ_OPT_SSL_CTX, m_tls->native()) == MOSQ_ERR_SUCCESS;
}

bool MqttClient::useProxy(const Proxy& proxy) {
    if (!m_viaProxy) return true;
    const bool named = !proxy.user.empty();
    return mosquitto_socks5_set(m_client.get(), proxy.literal.c_str(), proxy.port,
                                named ? proxy.user.c_str() : nullptr,
                                named ? proxy.password.c_str() : nullptr) == MOSQ_ERR_SUCCESS;
}

void MqttClient::setCallbacks() {
    mosquitto* const client = m_client.get();
    mosquitto_connect_v5_callback_set(client, Callbacks::onConnect);
    mosquitto_disconnect_v5_callback_set(client, Callbacks::onDisconnect);
    mosquitto_subscribe_v5_callback_set(client, Callbacks::onSubscribe);
    mosquitto_unsubscribe_v5_callback_set(client, Callbacks::onUnsubscribe);
    mosquitto_publish_v5_callback_set(client, Callbacks::onPublish);
    mosquitto_message_v5_callback_set(client, Callbacks::onMessage);
    if (m_tls) mosquitto_log_callback_set(client, Callbacks::onLog);
}

void MqttClient::open(const Options& options) {
    Properties properties;
    properties.addInt32(MQTT_PROP_SESSION_EXPIRY_INTERVAL, kSessionSeconds);
    properties.addInt32(MQTT_PROP_MAXIMUM_PACKET_SIZE, kLargestDownlinkPacket);
    // Only the blocking call takes properties. It keeps them, then refuses the port before it does anything
    // with the network; the call that does not block uses what it kept.
    constexpr int kNoPort = -1;
    mosquitto_connect_bind_v5(m_client.get(), options.server.c_str(), kNoPort, options.keepAliveSeconds,
                              nullptr, properties.get());
    check(mosquitto_connect_bind_async(m_client.get(), options.server.c_str(), options.port,
                                       options.keepAliveSeconds, nullptr));
}

// A server that does not take our answers gets nothing more to answer: they would pile up here.
void MqttClient::step(int timeoutMs) {
    if (!isAlive()) return;
    const bool mayRead = inHandshake() || !wantsToWrite();
    const SocketWaiter::Ready ready =
        m_waiter.wait(mosquitto_socket(m_client.get()), {mayRead, !m_tcpConnected || wantsToWrite()},
                      mayRead && hasBufferedInput() ? 0 : timeoutMs);
    if (!m_tcpConnected && !finishConnecting(ready.writable)) return;
    if (ready.writable && !inHandshake()) write();
    if (isAlive() && mayRead && (ready.readable || hasBufferedInput() || (ready.writable && inHandshake())))
        read();
    if (isAlive()) check(mosquitto_loop_misc(m_client.get()));
}

bool MqttClient::finishConnecting(bool writable) {
    if (!writable) return false;
    const int socket = mosquitto_socket(m_client.get());
    if (const std::error_code error = SocketError(socket))
        fail(connectProblem(error));
    else if (!IsSocketConnected(socket))  // An earlier write by TLS may have consumed it.
        fail("connection refused, or reset during the TLS handshake");
    m_tcpConnected = isAlive();
    return m_tcpConnected;
}

// The client library's own answer stays "yes" all through a handshake once the socket has been full.
bool MqttClient::wantsToWrite() const {
    if (inHandshake()) return SSL_want_write(static_cast<SSL*>(mosquitto_ssl_get(m_client.get())));
    return mosquitto_want_write(m_client.get());
}

bool MqttClient::inHandshake() const {
    const auto* const ssl = static_cast<const SSL*>(mosquitto_ssl_get(m_client.get()));
    return ssl && !SSL_is_init_finished(ssl);
}

// The first packet leaves with the connection, before anybody has looked whether there is one.
bool MqttClient::hasAsked() const {
    return isAlive() && !inHandshake() && IsSocketConnected(mosquitto_socket(m_client.get()));
}

// What TLS has decrypted already does not make the socket readable.
bool MqttClient::hasBufferedInput() const {
    const auto* const ssl = static_cast<const SSL*>(mosquitto_ssl_get(m_client.get()));
    return ssl && SSL_pending(ssl) > 0;
}

void MqttClient::read() {
    const bool wasInHandshake = inHandshake();
    const int result = mosquitto_loop_read(m_client.get(), kPacketsAtOnce);
    if (result == MOSQ_ERR_OVERSIZE_PACKET)
        return fail("the server sent a packet of more than " + std::to_string(kLargestDownlinkPacket) +
                    " bytes");
    check(result);
    // The client library takes a reset during the handshake for a reason to try again, without end.
    if (isAlive() && wasInHandshake && inHandshake() && IsSocketClosed(mosquitto_socket(m_client.get())))
        fail("closed by the server during the TLS handshake");
}

void MqttClient::write() {
    check(mosquitto_loop_write(m_client.get(), kPacketsAtOnce));
}

void MqttClient::check(int result) {
    if (!isAlive()) return;
    if (result > 0)
        fail(problemOf(result));
    else if (mosquitto_socket(m_client.get()) == -1)
        fail("closed");
}

std::string MqttClient::problemOf(int result) const {
    if (m_viaProxy && !m_connected) {
        if (result == MOSQ_ERR_PROXY)
            return "the proxy refused, or answered with something that is not SOCKS5";
        if (result == MOSQ_ERR_AUTH) return "the proxy refused the user name and password, or the server";
        if (result == MOSQ_ERR_NO_CONN) return "the proxy cannot connect to the server";
    }
    return m_tls ? tlsProblem(result) : mosquitto_strerror(result);
}

// TLS writes as soon as it can, so that a reset may have answered it already.
std::string MqttClient::connectProblem(const std::error_code& error) const {
    return m_tls && error == std::errc::connection_reset ? "reset during the TLS handshake" : error.message();
}

std::string MqttClient::tlsProblem(int result) const {
    std::string refusal = m_tls->refusal();
    if (!refusal.empty()) return refusal;
    if (m_tls->isClosedByServer()) return "closed by the server";
    if (m_connected || (m_tls->isAgreed() && m_libraryError.empty())) return mosquitto_strerror(result);
    return m_libraryError.empty() ? "the TLS handshake failed"
                                  : "the TLS handshake failed: " + m_libraryError;
}

void MqttClient::fail(const std::string& reason) {
    if (isAlive()) m_problem = reason;
}

void MqttClient::abandon(const std::string& reason) {
    fail(reason);
    ShutDownSocket(mosquitto_socket(m_client.get()));
}

int MqttClient::publish(const std::string& topic, const std::string& responseTopic, const Message& message) {
    Properties properties;
    properties.addString(MQTT_PROP_CONTENT_TYPE, kContentType);
    properties.addString(MQTT_PROP_RESPONSE_TOPIC, responseTopic.c_str());
    if (!message.head.empty()) properties.addUser(kHeadProperty, message.head.c_str());
    int packetId = 0;
    check(mosquitto_publish_v5(m_client.get(), &packetId, topic.c_str(),
                               static_cast<int>(message.body.size()), message.body.data(), 1, false,
                               properties.get()));
    return isAlive() ? packetId : 0;
}

int MqttClient::publishPresence(const std::string& topic, bool online) {
    const std::string text = online ? kOnline : kOffline;
    // The goodbye must not wait for the server to acknowledge what is in flight.
    const int qos = online ? 1 : 0;
    int packetId = 0;
    check(mosquitto_publish_v5(m_client.get(), &packetId, topic.c_str(), static_cast<int>(text.size()),
                               text.data(), qos, false, nullptr));
    return isAlive() ? packetId : 0;
}

int MqttClient::subscribe(const std::string& topic) {
    int packetId = 0;
    check(mosquitto_subscribe_v5(m_client.get(), &packetId, topic.c_str(), 1, 0, nullptr));
    return isAlive() ? packetId : 0;
}

int MqttClient::unsubscribe(const std::string& topic) {
    int packetId = 0;
    check(mosquitto_unsubscribe(m_client.get(), &packetId, topic.c_str()));
    return isAlive() ? packetId : 0;
}

void MqttClient::disconnect() {
    Properties properties;
    properties.addInt32(MQTT_PROP_SESSION_EXPIRY_INTERVAL, 0);
    check(mosquitto_disconnect_v5(m_client.get(), 0, properties.get()));
}

}  // namespace mqtt
}  // namespace QoPlayer
