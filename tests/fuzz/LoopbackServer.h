#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// The server's side of one connection at a time on a free loopback port. Nothing waits: on the loopback
/// interface a connection and what is sent on it are there at once.
class LoopbackServer {
public:
    LoopbackServer();
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    int port() const { return m_port; }

    /// Takes the connection that has just been made.
    void accept();

    /// As much of it as the connection takes at once.
    void send(const std::uint8_t* data, std::size_t size);

    /// Says that no more comes.
    void finish();

    /// Ends the connection with RST, which leaves nothing behind.
    void drop();

private:
    static constexpr std::intptr_t kNone = -1;

    std::intptr_t m_listener = kNone;
    std::intptr_t m_connection = kNone;
    int m_port = 0;
};

}  // namespace fuzz
