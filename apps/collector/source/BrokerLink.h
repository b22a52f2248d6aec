#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "collector/model/Fleet.h"
#include "collector/source/Received.h"

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

/// Why there is no connection to the broker.
struct Trouble {
    enum class Kind {
        NothingListens,  ///< no program has the address
        Refused,         ///< the broker refused the user or what the user asked for
        GivenUp,         ///< nobody wants to wait for it any more
        Other,
    };
    Kind kind = Kind::Other;
    std::string text;
};

/// The broker and how it is spoken to: "127.0.0.1:1883 over plain TCP".
std::string Describe(const BrokerOptions& options);

/// One connection to the broker that hears every broadcaster. Its session outlives a lost connection, so that
/// messages sent meanwhile are delivered afterwards. Used from one thread.
class BrokerLink {
public:
    using Handler = std::function<void(const Received&)>;
    using GiveUp = std::function<bool()>;

    /// `giveUp` is asked several times a second while the broker is waited for.
    BrokerLink(BrokerOptions options, Handler handler, GiveUp giveUp);
    ~BrokerLink();
    BrokerLink(const BrokerLink&) = delete;
    BrokerLink& operator=(const BrokerLink&) = delete;

    /// Connects and subscribes; empty when done. Blocks for as long as the system takes to connect, and then
    /// for at most 5 s, unless it is given up: then nothing but the destructor may be called. May be called
    /// again after a failure and after a lost connection.
    std::optional<Trouble> Connect();

    /// Waits for messages, at most `waitMs`, and hands all that have come to the handler; of a flood, those
    /// that a short turn is enough for. Why the connection is lost, when it is.
    std::optional<Trouble> Poll(int waitMs);

    /// True when more has come than was handed on.
    bool HasUnread() const;

    void Publish(const Answer& answer);

    /// Ends the connection and its session.
    void Close();

private:
    struct Callbacks;

    void SetUpTls();
    std::optional<Trouble> Dial();
    std::optional<Trouble> AwaitSubscription();
    Trouble LossOf(int result) const;
    void Leave();

    BrokerOptions m_options;
    Handler m_handler;
    GiveUp m_giveUp;
    std::shared_ptr<mosquitto> m_client;  ///< also of a thread that is connecting
    bool m_started = false;
    bool m_leftBehind = false;
    bool m_subscribed = false;
    bool m_refused = false;
    std::string m_refusal;
    std::string m_farewell;  ///< why the broker ended the connection, where it said so
};

}  // namespace collector
