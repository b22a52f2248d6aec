#include "integration/support/ScriptedServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include "support/Loopback.h"

namespace support {

std::string MqttString(const std::string& text) {
    std::string encoded;
    encoded.push_back(static_cast<char>(text.size() >> 8));
    encoded.push_back(static_cast<char>(text.size() & 0xff));
    return encoded + text;
}

bool ScriptedConnection::readExactly(char* bytes, std::size_t length) {
    while (length > 0) {
        const ssize_t got = recv(m_socket, bytes, length, 0);
        if (got <= 0) return false;
        bytes += got;
        length -= static_cast<std::size_t>(got);
    }
    return true;
}

bool ScriptedConnection::read(std::uint8_t& type, std::string& body) {
    char byte = 0;
    if (!readExactly(&byte, 1)) return false;
    type = static_cast<std::uint8_t>(byte) & 0xf0;
    std::size_t length = 0;
    for (int shift = 0; shift < 28; shift += 7) {
        if (!readExactly(&byte, 1)) return false;
        length |= static_cast<std::size_t>(byte & 0x7f) << shift;
        if ((byte & 0x80) == 0) break;
    }
    body.resize(length);
    return readExactly(body.data(), length);
}

bool ScriptedConnection::readUntil(std::uint8_t type, std::string& body) {
    std::uint8_t seen = 0;
    while (read(seen, body))
        if (seen == type) return true;
    return false;
}

bool ScriptedConnection::send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t length = ::send(m_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (length <= 0) return false;
        sent += static_cast<std::size_t>(length);
    }
    return true;
}

bool ScriptedConnection::sendPacket(std::uint8_t firstByte, const std::string& body) {
    std::string packet(1, static_cast<char>(firstByte));
    std::size_t length = body.size();
    do {
        const std::size_t low = length & 0x7f;
        length >>= 7;
        packet.push_back(static_cast<char>(length > 0 ? low | 0x80 : low));
    } while (length > 0);
    return send(packet + body);
}

bool ScriptedConnection::accept(const std::string& properties) {
    std::string body;
    if (!readUntil(0x10, body)) return false;
    return sendPacket(0x20, std::string(2, '\0') + static_cast<char>(properties.size()) + properties);
}

bool ScriptedConnection::answerSubscribe(std::uint8_t code, std::string& topic) {
    std::string body;
    if (!readUntil(0x80, body) || body.size() < 6) return false;
    const auto length = static_cast<std::size_t>(static_cast<std::uint8_t>(body[3]) << 8 |
                                                 static_cast<std::uint8_t>(body[4]));
    topic = body.substr(5, length);
    return sendPacket(0x90, body.substr(0, 2) + std::string(1, '\0') + static_cast<char>(code));
}

void ScriptedConnection::drain() {
    char bytes[65536];
    while (recv(m_socket, bytes, sizeof bytes, 0) > 0) {
    }
}

void ScriptedConnection::resetOnClose() {
    constexpr linger kAtOnce = {1, 0};
    setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &kAtOnce, sizeof kAtOnce);
}

ScriptedServer::ScriptedServer(Script script) : m_script(std::move(script)) {
    m_listener = ListenOnLoopback(m_port, 16);
    m_thread = std::thread([this] { run(); });
}

ScriptedServer::~ScriptedServer() {
    m_stop = true;
    shutdown(m_listener, SHUT_RDWR);
    const int current = m_current;
    if (current >= 0) shutdown(current, SHUT_RDWR);
    m_thread.join();
    close(m_listener);
}

void ScriptedServer::run() {
    while (!m_stop) {
        const int accepted = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (accepted < 0) continue;
        m_current = accepted;
        constexpr int kOn = 1;
        setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof kOn);
        ++m_seen;
        ScriptedConnection connection(accepted);
        if (!m_stop) m_script(connection);
        m_current = -1;
        close(accepted);
    }
}

}  // namespace support
