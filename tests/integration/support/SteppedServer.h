#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace support {

/// An MQTT server on a free loopback port without a thread: it does something only when it is asked to. One
/// connection at a time.
class SteppedServer {
public:
    SteppedServer();
    ~SteppedServer();
    SteppedServer(const SteppedServer&) = delete;
    SteppedServer& operator=(const SteppedServer&) = delete;

    int port() const { return m_port; }

    /// Does what there is to do, and says whether it has answered or closed anything.
    bool step();

    /// Ends the connection that there is.
    void close();

    // What it leaves undone, from now on.
    bool reads = true;
    bool answersConnect = true;
    bool answersSubscribe = true;
    bool answersUnsubscribe = true;
    bool acknowledges = true;

    // What it answers, from now on.
    std::string properties;  ///< of the answer to CONNECT
    std::uint8_t connectCode = 0;
    std::uint8_t subscribeCode = 0;
    std::uint8_t publishCode = 0;
    bool resets = false;  ///< each connection, before anything is read

    /// Called for each CONNECT, before the answer.
    std::function<void()> onConnect;

    const std::string& lastConnect() const { return m_connect; }  ///< what the last CONNECT held
    int connectionsSeen() const { return m_seen; }
    int published() const { return m_published; }
    int unacknowledged() const { return m_unacknowledged; }  ///< of the current connection

private:
    void accept();
    bool receive();
    void obey(std::uint8_t type, const std::string& body);
    void obeyPublishOnce(const std::string& body);
    void answer(std::uint8_t type, const std::string& body);

    int m_listener = -1;
    int m_port = 0;
    int m_peer = -1;
    int m_seen = 0;
    int m_published = 0;
    int m_unacknowledged = 0;
    bool m_moved = false;
    std::string m_received;
    std::string m_connect;
};

}  // namespace support
