#include "collector/source/BrokerLink.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <poll.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "collector/source/LeavableCall.h"
#include "common/Clock.h"

namespace collector {
namespace {

constexpr int kKeepAliveSeconds = 15;
constexpr std::uint32_t kSessionSeconds = 600;
constexpr std::uint32_t kMostPacketBytes = 32U << 20U;
constexpr Millis kSubscriptionWait = 5000;
constexpr Millis kLongestTurn = 100;

struct PropertiesDeleter {
    void operator()(mosquitto_property* properties) const { mosquitto_property_free_all(&properties); }
};
using Properties = std::unique_ptr<mosquitto_property, PropertiesDeleter>;

Properties ConnectProperties() {
    mosquitto_property* list = nullptr;
    mosquitto_property_add_int32(&list, MQTT_PROP_SESSION_EXPIRY_INTERVAL, kSessionSeconds);
    mosquitto_property_add_int32(&list, MQTT_PROP_MAXIMUM_PACKET_SIZE, kMostPacketBytes);
    return Properties(list);
}

std::string ClientId() {
    std::random_device random;
    char text[40];
    std::snprintf(text, sizeof text, "qolive-collector-%08x", random());
    return text;
}

std::string TakeText(char* text) {
    std::string copy = text ? text : "";
    std::free(text);  // NOLINT: the client library allocates with malloc
    return copy;
}

std::string ReadText(const mosquitto_property* properties, int identifier) {
    char* text = nullptr;
    mosquitto_property_read_string(properties, identifier, &text, false);
    return TakeText(text);
}

std::optional<std::string> ReadHead(const mosquitto_property* properties) {
    const mosquitto_property* next = properties;
    bool skipFirst = false;
    while (true) {
        char* name = nullptr;
        char* value = nullptr;
        next = mosquitto_property_read_string_pair(next, MQTT_PROP_USER_PROPERTY, &name, &value, skipFirst);
        if (!next) return std::nullopt;
        std::string head = TakeText(value);
        if (TakeText(name) == "head") return head;
        skipFirst = true;
    }
}

Received ToReceived(const mosquitto_message& message, const mosquitto_property* properties) {
    Received received;
    received.wallMs = apps::WallMs();
    received.topic = message.topic;
    received.parsedTopic = ParseTopic(received.topic);
    if (message.payloadlen > 0)
        received.payload.assign(static_cast<const char*>(message.payload),
                                static_cast<std::size_t>(message.payloadlen));
    received.head = ReadHead(properties);
    received.contentType = ReadText(properties, MQTT_PROP_CONTENT_TYPE);
    received.responseTopic = ReadText(properties, MQTT_PROP_RESPONSE_TOPIC);
    received.qos = message.qos;
    received.retained = message.retain;
    return received;
}

std::string Describe(int result) {
    if (result == MOSQ_ERR_ERRNO) return std::error_code(errno, std::generic_category()).message();
    return mosquitto_strerror(result);
}

Trouble TroubleOf(int result) {
    const bool nothingListens = result == MOSQ_ERR_ERRNO && errno == ECONNREFUSED;
    return {nothingListens ? Trouble::Kind::NothingListens : Trouble::Kind::Other, Describe(result)};
}

Trouble GivenUp() {
    return {Trouble::Kind::GivenUp, "ended before it answered"};
}

}  // namespace

std::string Describe(const BrokerOptions& options) {
    const bool numeric6 = options.host.find(':') != std::string::npos;
    return (numeric6 ? "[" + options.host + "]" : options.host) + ":" + std::to_string(options.port) +
           (options.tls ? " over TLS" : " over plain TCP");
}

struct BrokerLink::Callbacks {
    static void OnConnect(mosquitto* client, void* user, int reason, int, const mosquitto_property*) {
        auto& link = *static_cast<BrokerLink*>(user);
        if (reason != 0) {
            link.m_refused = true;
            link.m_refusal = mosquitto_reason_string(reason);
            return;
        }
        std::array<std::string, 2> filters{"qolive/+/+/up/+", "qolive/+/+/presence"};
        std::array<char*, 2> pointers{filters[0].data(), filters[1].data()};
        mosquitto_subscribe_multiple(client, nullptr, pointers.size(), pointers.data(), 1, 0, nullptr);
    }

    static void OnDisconnect(mosquitto*, void* user, int reason, const mosquitto_property*) {
        constexpr int kFirstFailure = 128;
        if (reason >= kFirstFailure)
            static_cast<BrokerLink*>(user)->m_farewell = mosquitto_reason_string(reason);
    }

    static void OnSubscribe(mosquitto*, void* user, int, int count, const int* granted,
                            const mosquitto_property*) {
        auto& link = *static_cast<BrokerLink*>(user);
        link.m_subscribed = true;
        for (int i = 0; i < count; ++i) {
            if (granted[i] < 128) continue;
            link.m_refused = true;
            link.m_refusal = "the broker does not let this user read qolive/+/+/up/+ and qolive/+/+/presence";
        }
    }

    static void OnMessage(mosquitto*, void* user, const mosquitto_message* message,
                          const mosquitto_property* properties) {
        static_cast<BrokerLink*>(user)->m_handler(ToReceived(*message, properties));
    }
};

BrokerLink::BrokerLink(BrokerOptions options, Handler handler, GiveUp giveUp)
    : m_options(std::move(options)), m_handler(std::move(handler)), m_giveUp(std::move(giveUp)) {
    mosquitto_lib_init();
    m_client.reset(mosquitto_new(ClientId().c_str(), false, this), mosquitto_destroy);
    if (!m_client) throw std::runtime_error("the MQTT client library cannot be started");
    mosquitto_int_option(m_client.get(), MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    if (!m_options.user.empty() || !m_options.token.empty())
        mosquitto_username_pw_set(m_client.get(), m_options.user.c_str(), m_options.token.c_str());
    mosquitto_connect_v5_callback_set(m_client.get(), Callbacks::OnConnect);
    mosquitto_disconnect_v5_callback_set(m_client.get(), Callbacks::OnDisconnect);
    mosquitto_subscribe_v5_callback_set(m_client.get(), Callbacks::OnSubscribe);
    mosquitto_message_v5_callback_set(m_client.get(), Callbacks::OnMessage);
    if (m_options.tls) SetUpTls();
}

BrokerLink::~BrokerLink() {
    m_client.reset();
    if (!m_leftBehind) mosquitto_lib_cleanup();
}

void BrokerLink::SetUpTls() {
    int result = MOSQ_ERR_SUCCESS;
    if (m_options.caFile.empty())
        result = mosquitto_int_option(m_client.get(), MOSQ_OPT_TLS_USE_OS_CERTS, 1);
    else
        result =
            mosquitto_tls_set(m_client.get(), m_options.caFile.c_str(), nullptr, nullptr, nullptr, nullptr);
    if (result != MOSQ_ERR_SUCCESS)
        throw std::runtime_error("TLS cannot be set up with " + m_options.caFile + ": " + Describe(result));
}

std::optional<Trouble> BrokerLink::Connect() {
    m_subscribed = m_refused = false;
    m_farewell.clear();
    std::optional<Trouble> trouble = Dial();
    if (trouble) return trouble;
    trouble = AwaitSubscription();
    if (trouble) Leave();
    return trouble;
}

// To an address that does not answer the client library connects for minutes.
std::optional<Trouble> BrokerLink::Dial() {
    const bool again = std::exchange(m_started, true);
    const auto call = [client = m_client, host = m_options.host, port = m_options.port, again] {
        if (again) return mosquitto_reconnect(client.get());
        return mosquitto_connect_bind_v5(client.get(), host.c_str(), port, kKeepAliveSeconds, nullptr,
                                         ConnectProperties().get());
    };
    const std::optional<CallEnd> end = CallAndMaybeLeave(call, m_giveUp);
    m_leftBehind = !end;
    if (!end) return GivenUp();
    errno = end->error;
    if (end->result != MOSQ_ERR_SUCCESS) return TroubleOf(end->result);
    return std::nullopt;
}

std::optional<Trouble> BrokerLink::AwaitSubscription() {
    const Millis deadline = apps::SteadyMs() + kSubscriptionWait;
    while (!m_subscribed && !m_refused) {
        const int result = mosquitto_loop(m_client.get(), 100, 1);
        if (m_refused) break;
        if (result != MOSQ_ERR_SUCCESS) return LossOf(result);
        if (m_giveUp()) return GivenUp();
        if (apps::SteadyMs() > deadline) return Trouble{Trouble::Kind::Other, "no answer within 5 s"};
    }
    if (m_refused) return Trouble{Trouble::Kind::Refused, m_refusal};
    return std::nullopt;
}

Trouble BrokerLink::LossOf(int result) const {
    return m_farewell.empty() ? TroubleOf(result) : Trouble{Trouble::Kind::Other, m_farewell};
}

std::optional<Trouble> BrokerLink::Poll(int waitMs) {
    const Millis end = apps::SteadyMs() + kLongestTurn;
    int result = mosquitto_loop(m_client.get(), waitMs, 1);
    while (result == MOSQ_ERR_SUCCESS && HasUnread() && apps::SteadyMs() < end)
        result = mosquitto_loop(m_client.get(), 0, 1);
    if (result == MOSQ_ERR_SUCCESS) return std::nullopt;
    return LossOf(result);
}

bool BrokerLink::HasUnread() const {
    pollfd socket{mosquitto_socket(m_client.get()), POLLIN, 0};
    return poll(&socket, 1, 0) > 0;
}

// QoS 0: broadcasters hear nothing at a higher one, and a broker that refuses an answer has nothing to
// acknowledge.
void BrokerLink::Publish(const Answer& answer) {
    mosquitto_property* list = nullptr;
    mosquitto_property_add_string(&list, MQTT_PROP_CONTENT_TYPE, "application/json");
    const Properties properties(list);
    mosquitto_publish_v5(m_client.get(), nullptr, answer.topic.c_str(),
                         static_cast<int>(answer.payload.size()), answer.payload.data(), 0, false,
                         properties.get());
}

// A connection that is of no use is not left to the broker; the session stays.
void BrokerLink::Leave() {
    mosquitto_disconnect_v5(m_client.get(), 0, nullptr);
    mosquitto_loop(m_client.get(), 0, 1);
}

void BrokerLink::Close() {
    mosquitto_property* list = nullptr;
    mosquitto_property_add_int32(&list, MQTT_PROP_SESSION_EXPIRY_INTERVAL, 0);
    const Properties properties(list);
    mosquitto_disconnect_v5(m_client.get(), 0, properties.get());
    mosquitto_loop(m_client.get(), 0, 1);
}

}  // namespace collector
