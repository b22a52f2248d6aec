#include <mosquitto.h>

#include <algorithm>
#include <string>

#include "fuzz/FuzzTarget.h"
#include "fuzz/LoopbackServer.h"
#include "mqtt/MqttClient.h"
#include "mqtt/Outbox.h"

// Any bytes from a server, through a real socket into the connection of the message center, without TLS.
//
// The first byte says what the server does beside them (see Honest), the second how many bytes come before
// the honest answer to CONNECT, the third how many between that and the answer to the subscription; the rest
// comes last. The fourth is how many bytes go at a time; 0: all of them.

namespace {

using QoPlayer::mqtt::ConnectionEvents;
using QoPlayer::mqtt::Message;
using QoPlayer::mqtt::MqttClient;
using QoPlayer::mqtt::ServerLimits;
using QoPlayer::mqtt::SocketWaiter;

enum Honest : unsigned {
    kAnswersConnect = 1,
    kAnswersSubscribe = 2,
    kHearsMessages = 4,  // the client has some that wait for their acknowledgement
    kFinishes = 8,
    kIsLeft = 16,  // the client says goodbye before the last bytes
};

constexpr std::size_t kHeader = 4;
constexpr std::size_t kLargestPacket = 65536;
constexpr std::size_t kSmallestPacket = 2;
constexpr std::size_t kPacketsPerStep = 16;
constexpr char kTopic[] = "qolive/studio-7/0badcafe/down/5";

/// Looks at all that it is told, so that what is not there is noticed.
class Listener final : public ConnectionEvents {
public:
    void onConnected(const ServerLimits& limits) override {
        fuzz::Require(limits.mostInFlight <= 65535);
        fuzz::Require(limits.largestPacket > 0);
    }
    void onSubscribed(int packetId, bool, const std::string& reason) override {
        fuzz::Require(packetId > 0 && packetId <= 65535);
        look(reason.data(), reason.size());
    }
    void onUnsubscribed() override {}
    void onAcknowledged(int, const std::string& refusal) override { look(refusal.data(), refusal.size()); }
    void onMessage(const char* topic, const void* payload, std::size_t length) override {
        fuzz::Require(topic != nullptr && payload != nullptr && length < kLargestPacket);
        look(topic, std::string(topic).size());
        look(static_cast<const char*>(payload), length);
    }

private:
    void look(const char* data, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            m_seen = static_cast<unsigned char>(m_seen ^ static_cast<unsigned char>(data[i]));
    }

    volatile unsigned char m_seen = 0;
};

class Session {
public:
    explicit Session(fuzz::LoopbackServer& server, std::size_t piece)
        : m_server(server), m_piece(piece), m_client(options(server.port()), m_listener, m_waiter) {
        m_server.accept();
        step(1);
    }
    ~Session() { m_server.drop(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    MqttClient& connection() { return m_client; }

    void receive(const std::uint8_t* data, std::size_t size) {
        const std::size_t piece = m_piece == 0 ? size : m_piece;
        for (std::size_t at = 0; at < size && m_client.isAlive(); at += piece) {
            const std::size_t length = std::min(piece, size - at);
            m_server.send(data + at, length);
            step(length);
        }
    }

    void receive(const std::string& bytes) {
        receive(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }

    void finish() {
        m_server.finish();
        step(1);
    }

    void use() {
        m_packetId = m_client.subscribe(kTopic);
        step(1);
    }

    void publish() {
        Message message;
        message.cmd = 5;
        message.body = "{}";
        message.head = "{}";
        for (int i = 0; i < 3 && m_client.isAlive(); ++i)
            m_client.publish("qolive/studio-7/0badcafe/up/5", kTopic, message);
        step(1);
    }

    std::string granted() const {
        return {'\x90', 4, static_cast<char>(m_packetId >> 8), static_cast<char>(m_packetId), 0, 0};
    }

private:
    static MqttClient::Options options(int port) {
        MqttClient::Options options;
        options.server = "127.0.0.1";
        options.port = port;
        options.clientId = "studio-7-0badcafe";
        options.userName = "studio-7";
        options.willTopic = "qolive/studio-7/0badcafe/presence";
        options.keepAliveSeconds = 15;
        return options;
    }

    // Often enough for whatever fits into `size` bytes.
    void step(std::size_t size) {
        const std::size_t most = 2 + size / kSmallestPacket / kPacketsPerStep;
        for (std::size_t i = 0; i < most && m_client.isAlive(); ++i)
            m_client.step(0);
    }

    fuzz::LoopbackServer& m_server;
    const std::size_t m_piece;
    Listener m_listener;
    SocketWaiter m_waiter;
    MqttClient m_client;
    int m_packetId = 0;
};

struct Input {
    unsigned honest;
    std::size_t piece;
    const std::uint8_t* bytes[3];
    std::size_t sizes[3];
};

Input InputOf(const std::uint8_t* data, std::size_t size) {
    Input input = {data[0], data[3], {}, {}};
    const std::uint8_t* at = data + kHeader;
    std::size_t left = size - kHeader;
    for (std::size_t part = 0; part < 3; ++part) {
        input.bytes[part] = at;
        input.sizes[part] = part < 2 ? std::min<std::size_t>(data[1 + part], left) : left;
        at += input.sizes[part];
        left -= input.sizes[part];
    }
    return input;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::LoopbackServer server;
    static const int initialised = mosquitto_lib_init();
    fuzz::Require(initialised == MOSQ_ERR_SUCCESS);
    if (size < kHeader) return 0;
    fuzz::SilenceLog();
    const Input input = InputOf(data, size);
    Session session(server, input.piece);
    session.receive(input.bytes[0], input.sizes[0]);
    if ((input.honest & kAnswersConnect) != 0) session.receive(std::string("\x20\x03\0\0\0", 5));
    if (session.connection().isConnected()) session.use();
    session.receive(input.bytes[1], input.sizes[1]);
    if ((input.honest & kAnswersSubscribe) != 0) session.receive(session.granted());
    if ((input.honest & kHearsMessages) != 0 && session.connection().isConnected()) session.publish();
    if ((input.honest & kIsLeft) != 0 && session.connection().isConnected())
        session.connection().disconnect();
    session.receive(input.bytes[2], input.sizes[2]);
    if ((input.honest & kFinishes) != 0) session.finish();
    return 0;
}
