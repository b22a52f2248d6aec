#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/FuzzTarget.h"
#include "fuzz/LoopbackServer.h"

namespace fuzz {
namespace {

int Handle(std::intptr_t socket) {
    return static_cast<int>(socket);
}

}  // namespace

LoopbackServer::LoopbackServer() : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    Require(bind(Handle(m_listener), name, length) == 0 && listen(Handle(m_listener), 1) == 0 &&
            getsockname(Handle(m_listener), name, &length) == 0);
    m_port = ntohs(address.sin_port);
}

LoopbackServer::~LoopbackServer() {
    close(Handle(m_listener));
}

void LoopbackServer::accept() {
    m_connection = accept4(Handle(m_listener), nullptr, nullptr, SOCK_CLOEXEC);
    Require(m_connection != kNone);
    constexpr int kOn = 1;
    setsockopt(Handle(m_connection), IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof kOn);
}

void LoopbackServer::send(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] const ssize_t sent =
        ::send(Handle(m_connection), data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void LoopbackServer::finish() {
    shutdown(Handle(m_connection), SHUT_WR);
}

void LoopbackServer::drop() {
    constexpr linger kAtOnce = {1, 0};
    setsockopt(Handle(m_connection), SOL_SOCKET, SO_LINGER, &kAtOnce, sizeof kAtOnce);
    close(Handle(m_connection));
    m_connection = kNone;
}

}  // namespace fuzz
