#include "sink/UdpSink.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

namespace sink {

namespace {

constexpr int kReceiveBuffer = 4 << 20;
constexpr std::size_t kLargestDatagram = 65536;

int Require(int result, const char* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

sockaddr_in AddressOf(const std::string& host, int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) {
        throw std::system_error(EINVAL, std::generic_category(), "address " + host);
    }
    return address;
}

/// A bound socket; closed unless it is taken.
class Socket {
public:
    Socket() : m_fd(Require(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "socket")) {}
    ~Socket() {
        if (m_fd >= 0) close(m_fd);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    // Returns the port.
    int Bind(const std::string& host, int port) {
        sockaddr_in address = AddressOf(host, port);
        socklen_t size = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
        Require(bind(m_fd, generic, size), ("udp port " + std::to_string(port)).c_str());
        Require(getsockname(m_fd, generic, &size), "getsockname");
        return ntohs(address.sin_port);
    }
    int Take() { return std::exchange(m_fd, -1); }

private:
    int m_fd;
};

}  // namespace

UdpSink::UdpSink(const std::string& host, int port, OnDatagram onDatagram)
    : m_onDatagram(std::move(onDatagram)) {
    Socket bound;
    m_port = bound.Bind(host, port);
    Require(pipe2(m_wake, O_CLOEXEC), "pipe");
    m_socket = bound.Take();
    m_thread = std::thread([this] { Receive(); });
}

UdpSink::~UdpSink() {
    close(m_wake[1]);
    m_thread.join();
    close(m_wake[0]);
    close(m_socket);
}

void UdpSink::Receive() {
    std::vector<std::uint8_t> datagram(kLargestDatagram);
    for (bool ending = false; !ending;) {
        pollfd ready[2] = {{m_socket, POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        if (poll(ready, 2, -1) < 0 && errno != EINTR) return;
        ending = ready[1].revents != 0;
        for (ssize_t size = 0; (size = recv(m_socket, datagram.data(), datagram.size(), 0)) >= 0;) {
            m_onDatagram(datagram.data(), static_cast<std::size_t>(size));
        }
    }
}

}  // namespace sink
