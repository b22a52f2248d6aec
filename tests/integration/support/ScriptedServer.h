#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace support {

/// One connection of a ScriptedServer: packets as bytes.
class ScriptedConnection {
public:
    explicit ScriptedConnection(int socket) : m_socket(socket) {}

    /// Reads one MQTT packet; false when the client has closed the connection.
    bool read(std::uint8_t& type, std::string& body);

    /// Reads until a packet of `type` (0x10 CONNECT, 0x30 PUBLISH, 0x80 SUBSCRIBE, 0xe0 DISCONNECT) has come.
    bool readUntil(std::uint8_t type, std::string& body);

    /// Sends bytes as they are; false when the client has closed the connection.
    bool send(const std::string& bytes);

    /// Sends a packet: first byte, length, `body`.
    bool sendPacket(std::uint8_t firstByte, const std::string& body);

    /// Answers CONNECT with success and `properties` (their length is added).
    bool accept(const std::string& properties = "");

    /// Answers one SUBSCRIBE with `code` and gives the topic that was asked for.
    bool answerSubscribe(std::uint8_t code, std::string& topic);

    /// Reads until the client closes the connection.
    void drain();

    /// The close that follows sends RST.
    void resetOnClose();

    /// For a script that speaks what this class does not.
    int socket() const { return m_socket; }

private:
    bool readExactly(char* bytes, std::size_t length);

    const int m_socket;
};

/// An MQTT string: two bytes of length, then the text.
std::string MqttString(const std::string& text);

/// A server on a free loopback port that does what a script says, also what no honest server does. The script
/// is called for each connection in turn, on a thread of its own, and the connection ends when it returns.
class ScriptedServer {
public:
    using Script = std::function<void(ScriptedConnection&)>;

    explicit ScriptedServer(Script script);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    int port() const { return m_port; }
    int connectionsSeen() const { return m_seen; }

private:
    void run();

    const Script m_script;
    int m_listener = -1;
    int m_port = 0;
    std::atomic<int> m_current{-1};
    std::atomic<int> m_seen{0};
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

}  // namespace support
