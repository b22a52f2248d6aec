#include <winsock2.h>

#include "fuzz/FuzzTarget.h"
#include "fuzz/LoopbackServer.h"

namespace fuzz {
namespace {

SOCKET Handle(std::intptr_t socket) {
    return static_cast<SOCKET>(socket);
}

}  // namespace

LoopbackServer::LoopbackServer() {
    WSADATA data = {};
    Require(WSAStartup(MAKEWORD(2, 2), &data) == 0);
    m_listener = static_cast<std::intptr_t>(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int length = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    Require(bind(Handle(m_listener), name, length) == 0 && listen(Handle(m_listener), 1) == 0 &&
            getsockname(Handle(m_listener), name, &length) == 0);
    m_port = ntohs(address.sin_port);
}

LoopbackServer::~LoopbackServer() {
    closesocket(Handle(m_listener));
    WSACleanup();
}

void LoopbackServer::accept() {
    m_connection = static_cast<std::intptr_t>(::accept(Handle(m_listener), nullptr, nullptr));
    Require(m_connection != kNone);
    const BOOL noDelay = TRUE;
    setsockopt(Handle(m_connection), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&noDelay),
               sizeof noDelay);
    u_long noWait = 1;
    ioctlsocket(Handle(m_connection), static_cast<long>(FIONBIO), &noWait);
}

void LoopbackServer::send(const std::uint8_t* data, std::size_t size) {
    ::send(Handle(m_connection), reinterpret_cast<const char*>(data), static_cast<int>(size), 0);
}

void LoopbackServer::finish() {
    shutdown(Handle(m_connection), SD_SEND);
}

void LoopbackServer::drop() {
    const linger atOnce = {1, 0};
    setsockopt(Handle(m_connection), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&atOnce),
               sizeof atOnce);
    closesocket(Handle(m_connection));
    m_connection = kNone;
}

}  // namespace fuzz
