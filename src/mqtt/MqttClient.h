#pragma once

#include <mosquitto.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "mqtt/SocketWaiter.h"

namespace QoPlayer {
namespace mqtt {

class TlsContext;
struct Message;

/// What a server allows on a connection.
struct ServerLimits {
    std::size_t largestPacket = 0;  ///< bytes
    std::size_t mostInFlight = 0;   ///< messages
};

/// What a connection tells, on the thread that calls `step`.
class ConnectionEvents {
public:
    virtual void onConnected(const ServerLimits& limits) = 0;
    virtual void onSubscribed(int packetId, bool granted, const std::string& reason) = 0;
    virtual void onUnsubscribed() = 0;
    virtual void onAcknowledged(int packetId, const std::string& refusal) = 0;
    virtual void onMessage(const char* topic, const void* payload, std::size_t length) = 0;

protected:
    ~ConnectionEvents() = default;
};

/// A SOCKS5 proxy.
struct Proxy {
    std::string literal;  ///< address; empty: no proxy
    int port = 0;
    std::string user;
    std::string password;
};

/// One attempt to connect to one literal address and, when it succeeds, the MQTT connection. Every attempt
/// has a client object of its own, because one that has been connected keeps state that spoils the next
/// connection. Used by one thread; nothing blocks but `step`.
class MqttClient {
public:
    struct Options {
        std::string server;  ///< literal address; through a proxy, which finds it, a name as well
        int port = 0;
        Proxy proxy;
        std::string clientId;
        std::string userName;
        std::string token;
        std::string willTopic;
        bool cleanStart = true;
        int keepAliveSeconds = 0;
        TlsContext* tls = nullptr;  ///< null: plain TCP
    };

    MqttClient(const Options& options, ConnectionEvents& events, SocketWaiter& waiter);
    ~MqttClient();
    MqttClient(const MqttClient&) = delete;
    MqttClient& operator=(const MqttClient&) = delete;

    /// Waits for the socket or a wake-up for at most `timeoutMs` and does what there is to do.
    void step(int timeoutMs);

    bool isAlive() const { return m_problem.empty(); }
    bool isConnected() const { return m_connected && isAlive(); }

    /// Whether the server may have been asked for the connection already.
    bool hasAsked() const;

    /// Why the connection is not alive, and whether it was the server's word.
    const std::string& problem() const { return m_problem; }
    bool wasRefused() const { return m_refused; }

    // Each ends the connection when it fails and then returns 0; otherwise the identifier that the answer
    // will name.
    int publish(const std::string& topic, const std::string& responseTopic, const Message& message);
    int publishPresence(const std::string& topic, bool online);
    int subscribe(const std::string& topic);
    int unsubscribe(const std::string& topic);

    /// Says goodbye: the server forgets the session and keeps the will to itself. The connection ends once
    /// that is sent.
    void disconnect();

    /// Ends the connection at once, whatever the server sends.
    void abandon(const std::string& reason);

private:
    struct Free {
        void operator()(mosquitto* client) const { mosquitto_destroy(client); }
    };
    class Callbacks;

    template <class Action>
    void guarded(Action action);
    bool configure(const Options& options);
    bool useProxy(const Proxy& proxy);
    void setCallbacks();
    void open(const Options& options);
    bool finishConnecting(bool writable);
    bool inHandshake() const;
    bool wantsToWrite() const;
    bool hasBufferedInput() const;
    void read();
    void write();
    void check(int result);
    void fail(const std::string& reason);
    std::string connectProblem(const std::error_code& error) const;
    std::string tlsProblem(int result) const;
    std::string problemOf(int result) const;

    ConnectionEvents& m_events;
    SocketWaiter& m_waiter;
    TlsContext* const m_tls;
    std::unique_ptr<mosquitto, Free> m_client;
    const bool m_viaProxy;
    bool m_tcpConnected = false;
    bool m_connected = false;
    bool m_refused = false;
    std::string m_problem;
    std::string m_libraryError;
};

}  // namespace mqtt
}  // namespace QoPlayer
