#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "integration/support/ScriptedServer.h"

namespace support {

/// A server that sends one message to the heartbeat's sender again and again, and acknowledges what it is
/// sent.
class FloodingServer {
public:
    /// Pauses after every hundred messages; without a pause it sends as fast as they are taken.
    FloodingServer(std::string payload, std::chrono::milliseconds pause);

    int port() const { return m_server.port(); }

    /// How many messages it has sent.
    std::size_t sent() const { return m_sent; }

    /// The heartbeats that it was sent.
    std::vector<std::string> heartbeats() const;

private:
    void serve(ScriptedConnection& connection);
    void flood(ScriptedConnection& connection, const std::string& topic);
    void listen(ScriptedConnection& connection);
    void take(const std::string& body);
    std::string takeAnswers();
    void answer(const std::string& packet);

    const std::string m_payload;
    const std::chrono::milliseconds m_pause;
    mutable std::mutex m_mutex;
    std::string m_answers;
    std::vector<std::string> m_heartbeats;
    std::atomic<std::size_t> m_sent{0};
    std::atomic<bool> m_ended{false};
    ScriptedServer m_server;
};

}  // namespace support
