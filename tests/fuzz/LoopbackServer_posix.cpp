#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/FuzzTarget.h"
#include "fuzz/LoopbackServer.h"

namespace fuzz {
namespace {

int handle(std::intptr_t socket) {
    return static_cast<int>(socket);
}

}  // namespace

LoopbackServer::LoopbackServer() : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    Require(bind(handle(m_listener), name, length) == 0 && listen(handle(m_listener), 1) == 0 &&
            getsockname(handle(m_listener), name, &length) == 0);
    m_port = ntohs(address.sin_port);
}

LoopbackServer::~LoopbackServer() {
    close(handle(m_listener));
}

void LoopbackServer::accept() {
    m_connection = accept4(handle(m_listener), nullptr, nullptr, SOCK_CLOEXEC);
    Require(m_connection != kNone);
    constexpr int kOn = 1;
    setsockopt(handle(m_connection), IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof kOn);
}

void LoopbackServer::send(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] const ssize_t sent =
        ::send(handle(m_connection), data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void LoopbackServer::finish() {
    shutdown(handle(m_connection), SHUT_WR);
}

void LoopbackServer::drop() {
    constexpr linger kAtOnce = {1, 0};
    setsockopt(handle(m_connection), SOL_SOCKET, SO_LINGER, &kAtOnce, sizeof kAtOnce);
    close(handle(m_connection));
    m_connection = kNone;
}

}  // namespace fuzz
