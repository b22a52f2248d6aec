#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "mqtt/Backoff.h"
#include "mqtt/CenterState.h"
#include "mqtt/Connection.h"
#include "mqtt/SendWindow.h"
#include "mqtt/Settings.h"
#include "mqtt/TlsContext.h"

namespace QoPlayer {
namespace mqtt {

/// The network side of a center from one `start` to the next `stop`: goes through the addresses, keeps the
/// connection, moves messages. All of it runs on the network thread.
class Link final : private ConnectionEvents {
public:
    Link(Settings settings, std::string connectionName, std::uint64_t seed, CenterState& state);

    /// Returns once the center is stopping.
    void run();

private:
    using Clock = std::chrono::steady_clock;

    void onConnected(const ServerLimits& limits) override;
    void onSubscribed(int mid, bool granted, const std::string& reason) override;
    void onUnsubscribed() override;
    void onAcknowledged(int mid, const std::string& refusal) override;
    void onMessage(const char* topic, const void* payload, std::size_t length) override;

    bool stopping() const { return m_state.stopping; }
    Clock::time_point now() const { return m_state.waiter->now(); }
    bool tokenExpired() const { return m_state.token.isExpired(m_state.waiter->calendarSeconds()); }
    bool renewedSinceRefusal() const { return m_refused && m_refusedToken != m_state.token.renewals(); }
    int stepMs(Clock::time_point end) const;
    void runGuarded();
    void endAfterShortage();
    void parkWithExpiredToken();
    void goThroughAddresses();
    bool tryAddress(const ServerAddress& address);
    std::vector<std::string> resolve(const std::string& host);
    bool tryLiteral(const ServerAddress& address, const std::string& literal);
    void useProxy(const ServerAddress& address, const std::string& literal, Connection::Options& options);
    bool isPlain(const std::string& literal) const;
    bool prepareTls(const ServerAddress& address, TlsContext*& tls);
    bool establish(Connection& connection);
    void reportFailure(const Connection& connection);
    void noteFailure(LogLevel level, const std::string& line);
    void serve(Connection& connection);
    void finish(Connection& connection);
    void sayGoodbye(Connection& connection);
    bool isAnswered();
    void serviceSenders(Connection& connection);
    void tellNewSenders();
    void endIfSubscriptionHangs(Connection& connection);
    void publishWaiting(Connection& connection);
    void tellExpiredHeartbeats();
    bool publishNext(Connection& connection, const Message& message);
    void endConnection(const std::string& reason);
    void tellRefusal(const std::string& reason);
    void tellRefusedMessage(const std::string& refusal);
    void followSenders();
    void pause(Clock::time_point end);
    void tell(const Senders::Handle& sender, bool connected, const std::string& text);
    void waitOnce(Clock::time_point end);

    const Settings m_settings;
    const std::string m_prefix;
    const std::string m_clientId;
    CenterState& m_state;
    Backoff m_backoff;
    std::unique_ptr<TlsContext> m_tls;

    struct Subscribing {
        Senders::Handle sender;
        Clock::time_point since;
    };

    bool m_sessionKnown = false;       ///< a server has had a session of ours
    bool m_served = false;             ///< a connection of this round has served for a while
    bool m_refused = false;            ///< a server of this round has refused the connection
    std::uint64_t m_refusedToken = 0;  ///< the renewal of the token that it was offered
    std::string m_lastFailure;
    std::string m_refusal;  ///< why senders have no connection, when a server or the token is the reason

    // Of the current connection.
    std::uint64_t m_offeredToken = 0;
    std::string m_server;
    std::string m_note;  ///< what the status says while it is connected
    Connection* m_connection = nullptr;
    ServerLimits m_limits;
    int m_presenceMid = 0;
    SendWindow m_window;
    std::map<int, Subscribing> m_subscribing;
    int m_unsubscribing = 0;
    Clock::time_point m_drainEnd{};
};

}  // namespace mqtt
}  // namespace QoPlayer
