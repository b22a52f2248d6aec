#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mqtt/Backoff.h"
#include "mqtt/CenterState.h"
#include "mqtt/ConnectionLife.h"
#include "mqtt/ConnectionRefusal.h"
#include "mqtt/MqttClient.h"
#include "mqtt/ServerRoute.h"
#include "mqtt/Settings.h"
#include "mqtt/TlsContext.h"

namespace QoPlayer {
namespace mqtt {

/// The network side of a center from one `start` to the next `stop`, round after round. Its life:
///
///     round     The servers in their order. Of each name the addresses are looked up, for 5 s at most; at
///               each address a ConnectionLife is tried and lived to its end. The next one follows at once,
///               or, after a connection that held 30 s, the end of the round.
///     pause     After a round, as long as Backoff says. A new token ends it when a server has refused the
///               old one.
///     parked    The token has expired, which ends a round too: no connection until there is a new one.
///     stopped   By a stop, which ends each of these at once.
///
/// Where memory is short a round is dropped, and the next one follows after the pause. All of it runs on the
/// network thread.
class AddressRounds {
public:
    AddressRounds(Settings settings, const std::string& connectionName, std::uint64_t seed,
                  CenterState& state);

    /// Returns once the center is stopping.
    void run();

private:
    using Clock = std::chrono::steady_clock;

    bool stopping() const { return m_state.stopping; }
    Clock::time_point now() const { return m_state.waiter->now(); }
    bool tokenExpired() const { return m_state.token.isExpired(m_state.waiter->calendarSeconds()); }
    bool renewedSinceRefusal() const;
    void goRound();
    void pause(Clock::time_point end);
    void park();
    void waitOnce(Clock::time_point end);
    void goThroughAddresses();
    bool tryAddress(const ServerAddress& address);
    std::vector<std::string> resolve(const std::string& host);
    bool tryRoute(const ServerRoute& route);
    TlsContext* tlsFor(const ServerRoute& route);
    MqttClient::Options optionsFor(const ServerRoute& route, const std::string& token) const;
    bool live(ConnectionLife& life, const ServerRoute& route);
    void noteConnected(const ServerRoute& route);
    void noteFailure(LogLevel level, const std::string& line);
    void noteRefusal(const std::string& line, std::uint64_t offeredToken);
    void endConnection(const std::string& reason);
    void endAfterShortage();

    const Settings m_settings;
    const std::string m_prefix;
    const std::string m_clientId;
    CenterState& m_state;
    ConnectionRefusal m_refusal;
    Backoff m_backoff;
    std::unique_ptr<TlsContext> m_tls;
    bool m_sessionKnown = false;  ///< a server has had a session of ours
    std::string m_lastFailure;

    // Of the current round.
    bool m_served = false;                        ///< a connection has served for a while
    std::optional<std::uint64_t> m_refusedToken;  ///< the renewal of the token that a server has refused
};

}  // namespace mqtt
}  // namespace QoPlayer
