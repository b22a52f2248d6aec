#include "integration/support/SteppedServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "support/Loopback.h"

namespace support {
namespace {

// Of real time: what a client has sent on this machine has come by then.
constexpr int kPatienceMs = 5;

constexpr std::uint8_t kConnect = 0x10;
constexpr std::uint8_t kPublish = 0x30;
constexpr std::uint8_t kPublishOnce = 0x32;
constexpr std::uint8_t kSubscribe = 0x82;
constexpr std::uint8_t kUnsubscribe = 0xa2;
constexpr std::uint8_t kPing = 0xc0;

/// Takes one packet from the front of `bytes`; false when it has not come whole.
bool TakePacket(std::string& bytes, std::uint8_t& type, std::string& body) {
    std::size_t length = 0;
    std::size_t at = 1;
    for (int shift = 0;; shift += 7) {
        if (at >= bytes.size()) return false;
        const auto byte = static_cast<std::uint8_t>(bytes[at++]);
        length |= static_cast<std::size_t>(byte & 0x7f) << shift;
        if ((byte & 0x80) == 0) break;
    }
    if (bytes.size() < at + length) return false;
    type = static_cast<std::uint8_t>(bytes[0]);
    body = bytes.substr(at, length);
    bytes.erase(0, at + length);
    return true;
}

}  // namespace

SteppedServer::SteppedServer() {
    m_listener = ListenOnLoopback(m_port, 16, SOCK_NONBLOCK);
}

SteppedServer::~SteppedServer() {
    close();
    ::close(m_listener);
}

bool SteppedServer::step() {
    while (!m_moved) {
        pollfd watched[2] = {{m_listener, POLLIN, 0}, {reads ? m_peer : -1, POLLIN, 0}};
        if (poll(watched, 2, kPatienceMs) <= 0) break;
        if (watched[1].revents != 0 && !receive()) close();
        if (watched[0].revents != 0) accept();
    }
    return std::exchange(m_moved, false);
}

void SteppedServer::accept() {
    close();
    m_peer = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (m_peer < 0) return;
    constexpr int kOn = 1;  // each answer goes at once
    setsockopt(m_peer, IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof kOn);
    ++m_seen;
    if (!resets) return;
    constexpr linger kAtOnce = {1, 0};
    setsockopt(m_peer, SOL_SOCKET, SO_LINGER, &kAtOnce, sizeof kAtOnce);
    close();
}

void SteppedServer::close() {
    if (m_peer < 0) return;
    ::close(std::exchange(m_peer, -1));
    m_received.clear();
    m_unacknowledged = 0;
    m_moved = true;
}

bool SteppedServer::receive() {
    char bytes[65536];
    const ssize_t got = recv(m_peer, bytes, sizeof bytes, 0);
    if (got <= 0) return got < 0 && errno == EAGAIN;
    m_received.append(bytes, static_cast<std::size_t>(got));
    std::uint8_t type = 0;
    std::string body;
    while (m_peer >= 0 && TakePacket(m_received, type, body))
        obey(type, body);
    return true;
}

void SteppedServer::obey(std::uint8_t type, const std::string& body) {
    if ((type & 0xf0) == kPublish) ++m_published;
    if (type == kConnect) {
        m_connect = body;
        if (onConnect) onConnect();
        if (answersConnect)
            answer(0x20, std::string{'\0', static_cast<char>(connectCode)} +
                             static_cast<char>(properties.size()) + properties);
    } else if (type == kSubscribe && answersSubscribe) {
        answer(0x90, body.substr(0, 2) + '\0' + static_cast<char>(subscribeCode));
    } else if (type == kUnsubscribe && answersUnsubscribe) {
        answer(0xb0, body.substr(0, 2) + std::string(2, '\0'));
    } else if (type == kPublishOnce) {
        obeyPublishOnce(body);
    } else if (type == kPing) {
        answer(0xd0, "");
    }
}

void SteppedServer::obeyPublishOnce(const std::string& body) {
    const auto topicLength = static_cast<std::size_t>(static_cast<std::uint8_t>(body[0]) << 8 |
                                                      static_cast<std::uint8_t>(body[1]));
    if (acknowledges)
        answer(0x40, body.substr(2 + topicLength, 2) + static_cast<char>(publishCode));
    else
        ++m_unacknowledged;
}

void SteppedServer::answer(std::uint8_t type, const std::string& body) {
    if (m_peer < 0) return;
    const std::string packet = std::string{static_cast<char>(type), static_cast<char>(body.size())} + body;
    m_moved = send(m_peer, packet.data(), packet.size(), MSG_NOSIGNAL) > 0 || m_moved;
}

}  // namespace support
