#include "integration/support/SocksProxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "support/Loopback.h"

namespace support {
namespace {

constexpr std::uint8_t kNoName = 0;
constexpr std::uint8_t kUserAndPassword = 2;
constexpr std::uint8_t kNoneAcceptable = 0xff;

std::uint8_t ByteAt(const std::string& bytes, std::size_t index) {
    return static_cast<std::uint8_t>(bytes[index]);
}

std::string Counted(const std::string& text) {
    return static_cast<char>(text.size()) + text;
}

bool ReadExactly(ScriptedConnection& connection, std::string& bytes, std::size_t length) {
    bytes.resize(length);
    for (std::size_t got = 0; got < length;) {
        const ssize_t now = recv(connection.socket(), bytes.data() + got, length - got, 0);
        if (now <= 0) return false;
        got += static_cast<std::size_t>(now);
    }
    return true;
}

/// What follows its own length in one byte.
bool ReadCounted(ScriptedConnection& connection, std::string& bytes) {
    return ReadExactly(connection, bytes, 1) && ReadExactly(connection, bytes, ByteAt(bytes, 0));
}

bool ReadHost(ScriptedConnection& connection, std::uint8_t kind, std::string& host) {
    if (kind == 3) return ReadCounted(connection, host);
    std::string address;
    if (!ReadExactly(connection, address, kind == 4 ? 16 : 4)) return false;
    char text[INET6_ADDRSTRLEN] = "";
    host = inet_ntop(kind == 4 ? AF_INET6 : AF_INET, address.data(), text, sizeof text);
    return true;
}

bool Move(int from, int to) {
    char bytes[65536];
    const ssize_t length = recv(from, bytes, sizeof bytes, 0);
    return length > 0 && send(to, bytes, static_cast<std::size_t>(length), MSG_NOSIGNAL) == length;
}

void Relay(int client, int server) {
    for (;;) {
        pollfd sockets[2] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        if (poll(sockets, 2, -1) < 0) return;
        if (sockets[0].revents != 0 && !Move(client, server)) return;
        if (sockets[1].revents != 0 && !Move(server, client)) return;
    }
}

}  // namespace

SocksProxy::SocksProxy(Options options)
    : m_options(std::move(options)),
      m_server([this](ScriptedConnection& connection) { serve(connection); }) {}

std::vector<std::string> SocksProxy::askedFor() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_askedFor;
}

bool SocksProxy::greet(ScriptedConnection& connection) const {
    std::string bytes;
    std::string offered;
    if (!ReadExactly(connection, bytes, 1) || !ReadCounted(connection, offered)) return false;
    const std::uint8_t wanted = m_options.user.empty() ? kNoName : kUserAndPassword;
    const bool acceptable = offered.find(static_cast<char>(wanted)) != std::string::npos;
    connection.send(std::string("\x05") + static_cast<char>(acceptable ? wanted : kNoneAcceptable));
    if (!acceptable || wanted == kNoName) return acceptable;
    std::string user;
    std::string password;
    if (!ReadExactly(connection, bytes, 1) || !ReadCounted(connection, user) ||
        !ReadCounted(connection, password))
        return false;
    const bool known = user == m_options.user && password == m_options.password;
    return connection.send(std::string("\x01") + (known ? '\0' : '\x02')) && known;
}

bool SocksProxy::takeRequest(ScriptedConnection& connection) {
    std::string request;
    std::string host;
    std::string port;
    if (!ReadExactly(connection, request, 4) || !ReadHost(connection, ByteAt(request, 3), host) ||
        !ReadExactly(connection, port, 2))
        return false;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_askedFor.push_back(host + ":" + std::to_string(ByteAt(port, 0) * 256 + ByteAt(port, 1)));
    return true;
}

void SocksProxy::serve(ScriptedConnection& connection) {
    if (!greet(connection) || !takeRequest(connection)) return;
    const int server = ConnectToLoopback(m_options.serverPort);
    const std::string own =
        m_options.answersWithName ? "\x03" + Counted("proxy.test") : std::string("\x01\0\0\0\0", 5);
    const char result = server < 0 ? '\x05' : '\0';
    connection.send(std::string("\x05") + result + std::string(1, '\0') + own + std::string(2, '\0'));
    if (server < 0) return;
    Relay(connection.socket(), server);
    close(server);
}

}  // namespace support
