#include "readings/Echo.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "network/Sockets.h"
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

EchoCookie NewCookie() {
    static std::atomic<std::uint64_t> count{0};
    const std::array<std::uint64_t, 3> parts{
        ++count, static_cast<std::uint64_t>(getpid()),
        static_cast<std::uint64_t>(steady_clock::now().time_since_epoch().count())};
    EchoCookie cookie;
    static_assert(sizeof parts == sizeof cookie);
    std::memcpy(cookie.data(), parts.data(), cookie.size());
    return cookie;
}

bool SendAll(int socket, const EchoBytes& message) {
    return send(socket, message.data(), message.size(), 0) == static_cast<ssize_t>(message.size());
}

/// False when the deadline has passed, or nothing can be received any more.
bool WaitForMessage(int socket, steady_clock::time_point deadline) {
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
bool Receive(int socket, EchoBytes& message) {
    message.resize(512);
    const ssize_t length = recv(socket, message.data(), message.size(), 0);
    message.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return length >= 0 || errno == EAGAIN || errno == EINTR;
}

bool AwaitReply(int socket, bool isIpv6, const EchoCookie& cookie, steady_clock::time_point deadline) {
    EchoBytes message;
    while (WaitForMessage(socket, deadline) && Receive(socket, message))
        if (IsEchoReply(message, isIpv6, cookie)) return true;
    return false;
}

}  // namespace

bool SendEcho(const std::string& literal, steady_clock::time_point deadline, int& rttMs) {
    const qolive::AddressList list(literal, AI_NUMERICHOST);
    const addrinfo* const address = list.first();
    if (!address) return false;
    const bool isIpv6 = address->ai_family == AF_INET6;
    const Socket socket(address->ai_family, isIpv6 ? int{IPPROTO_ICMPV6} : int{IPPROTO_ICMP});
    if (connect(socket.number(), address->ai_addr, address->ai_addrlen) != 0) return false;
    const EchoCookie cookie = NewCookie();
    const auto sent = steady_clock::now();
    if (!SendAll(socket.number(), MakeEchoRequest(isIpv6, cookie))) return false;
    if (!AwaitReply(socket.number(), isIpv6, cookie, deadline)) return false;
    const auto passed = steady_clock::now() - sent;
    rttMs = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
    return true;
}
