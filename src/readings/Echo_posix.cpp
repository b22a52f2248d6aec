#include "readings/Echo.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "readings/EchoPacket_posix.h"

namespace {

using std::chrono::steady_clock;

class Socket {
public:
    Socket(int family, int protocol) {
        constexpr int kFlags = SOCK_CLOEXEC | SOCK_NONBLOCK;
        m_number = socket(family, SOCK_DGRAM | kFlags, protocol);
        // Datagram sockets for ICMP are for the groups that net.ipv4.ping_group_range names, raw ones for
        // root.
        if (m_number < 0) m_number = socket(family, SOCK_RAW | kFlags, protocol);
    }
    ~Socket() {
        if (m_number >= 0) close(m_number);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int number() const { return m_number; }

private:
    int m_number = -1;
};

bool connectTo(int socket, const HostAddress& address) {
    sockaddr_storage target{};
    socklen_t length = 0;
    if (address.isIpv6) {
        auto& to = reinterpret_cast<sockaddr_in6&>(target);
        to.sin6_family = AF_INET6;
        to.sin6_scope_id = address.scope;
        std::memcpy(&to.sin6_addr, address.bytes.data(), sizeof to.sin6_addr);
        length = sizeof to;
    } else {
        auto& to = reinterpret_cast<sockaddr_in&>(target);
        to.sin_family = AF_INET;
        std::memcpy(&to.sin_addr, address.bytes.data(), sizeof to.sin_addr);
        length = sizeof to;
    }
    return connect(socket, reinterpret_cast<const sockaddr*>(&target), length) == 0;
}

EchoCookie newCookie() {
    static std::atomic<std::uint64_t> count{0};
    const std::array<std::uint64_t, 3> parts{
        ++count, static_cast<std::uint64_t>(getpid()),
        static_cast<std::uint64_t>(steady_clock::now().time_since_epoch().count())};
    EchoCookie cookie;
    static_assert(sizeof parts == sizeof cookie);
    std::memcpy(cookie.data(), parts.data(), cookie.size());
    return cookie;
}

bool sendAll(int socket, const EchoBytes& message) {
    return send(socket, message.data(), message.size(), 0) == static_cast<ssize_t>(message.size());
}

/// False when the deadline has passed, or nothing can be received any more.
bool waitForMessage(int socket, steady_clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
        if (left.count() <= 0) return false;
        pollfd wanted{socket, POLLIN, 0};
        const int ready = poll(&wanted, 1, static_cast<int>(left.count()));
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
}

/// False when the system reports that the host cannot be reached.
bool receive(int socket, EchoBytes& message) {
    message.resize(512);
    const ssize_t length = recv(socket, message.data(), message.size(), 0);
    message.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return length >= 0 || errno == EAGAIN || errno == EINTR;
}

}  // namespace

bool SendEcho(const HostAddress& address, steady_clock::time_point deadline, int& rttMs) {
    const int protocol = address.isIpv6 ? static_cast<int>(IPPROTO_ICMPV6) : static_cast<int>(IPPROTO_ICMP);
    const Socket socket(address.isIpv6 ? AF_INET6 : AF_INET, protocol);
    if (socket.number() < 0 || !connectTo(socket.number(), address)) return false;
    const EchoCookie cookie = newCookie();
    const auto sent = steady_clock::now();
    if (!sendAll(socket.number(), MakeEchoRequest(address.isIpv6, cookie))) return false;
    EchoBytes message;
    while (waitForMessage(socket.number(), deadline)) {
        if (!receive(socket.number(), message)) return false;
        if (!IsEchoReply(message, address.isIpv6, cookie)) continue;
        const auto passed = steady_clock::now() - sent;
        rttMs = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
        return true;
    }
    return false;
}
