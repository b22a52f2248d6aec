#pragma once

#include <functional>
#include <memory>
#include <string>

#include "collector/Output.h"

struct mosquitto;

namespace collector {

struct BrokerOptions {
    std::string host = "127.0.0.1";
    int port = 1883;
    std::string user;
    std::string token;
    bool tls = false;
    std::string caFile;  ///< PEM; empty: the system's trust store
};

/// One connection to the broker that hears every broadcaster. Its session outlives a lost connection, so that
/// messages sent meanwhile are delivered afterwards. Used from one thread.
class BrokerLink {
public:
    using Handler = std::function<void(const Received&)>;

    BrokerLink(BrokerOptions options, Handler handler);
    ~BrokerLink();
    BrokerLink(const BrokerLink&) = delete;
    BrokerLink& operator=(const BrokerLink&) = delete;

    /// Connects and subscribes; empty when done, else what went wrong. Blocks for as long as the system takes
    /// to connect, and then for at most 5 s. May be called again after a failure and after a lost connection.
    std::string Connect();

    /// Hands every message that comes within `waitMs` to the handler. False when the connection is lost.
    bool Poll(int waitMs);

    void Publish(const Answer& answer);

    /// Ends the connection and its session.
    void Close();

private:
    struct Callbacks;
    struct Deleter {
        void operator()(mosquitto* client) const;
    };

    void SetUpTls();
    std::string AwaitSubscription();

    BrokerOptions m_options;
    Handler m_handler;
    std::unique_ptr<mosquitto, Deleter> m_client;
    bool m_started = false;
    bool m_subscribed = false;
    bool m_refused = false;
    std::string m_refusal;
};

}  // namespace collector
