#include "mqtt/SocketWaiter.h"

#include "network/Sockets.h"

namespace QoPlayer {
namespace mqtt {
namespace {

SOCKET AsSocket(std::intptr_t socket) {
    return static_cast<SOCKET>(socket);
}

// A datagram socket that is connected to itself: only its own datagrams reach it.
SOCKET MakeWakeSocket() {
    const SOCKET wakeSocket = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (wakeSocket == INVALID_SOCKET) return INVALID_SOCKET;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int length = sizeof address;
    u_long nonBlocking = 1;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    if (bind(wakeSocket, name, length) == 0 && getsockname(wakeSocket, name, &length) == 0 &&
        connect(wakeSocket, name, length) == 0 && ioctlsocket(wakeSocket, FIONBIO, &nonBlocking) == 0)
        return wakeSocket;
    closesocket(wakeSocket);
    return INVALID_SOCKET;
}

}  // namespace

SocketWaiter::SocketWaiter() {
    const SOCKET wakeSocket = MakeWakeSocket();
    if (wakeSocket == INVALID_SOCKET) return;
    m_wakeRead = static_cast<std::intptr_t>(wakeSocket);
    m_wakeWrite = m_wakeRead;
}

SocketWaiter::~SocketWaiter() {
    if (isUsable()) closesocket(AsSocket(m_wakeRead));
}

void SocketWaiter::wake() {
    if (m_woken.exchange(true)) return;
    const char byte = 0;
    send(AsSocket(m_wakeWrite), &byte, 1, 0);
}

// There is one byte at most: the next wake-up writes only once this one is taken.
void SocketWaiter::takeWakeUp() {
    char byte = 0;
    if (recv(AsSocket(m_wakeRead), &byte, 1, 0) == 1) m_woken = false;
}

SocketWaiter::Ready SocketWaiter::wait(int socket, Interest interest, int timeoutMs) {
    const SOCKET watched = AsSocket(socket);
    fd_set reading;
    fd_set writing;
    fd_set failing;
    FD_ZERO(&reading);
    FD_ZERO(&writing);
    FD_ZERO(&failing);
    FD_SET(AsSocket(m_wakeRead), &reading);
    if (socket != kNone) {
        FD_SET(watched, &failing);
        if (interest.read) FD_SET(watched, &reading);
        if (interest.write) FD_SET(watched, &writing);
    }
    timeval timeout = {timeoutMs / 1000, (timeoutMs % 1000) * 1000};
    if (select(0, &reading, &writing, &failing, &timeout) <= 0) return {};
    if (FD_ISSET(AsSocket(m_wakeRead), &reading)) takeWakeUp();
    if (socket == kNone) return {};
    const bool failed = FD_ISSET(watched, &failing) != 0;
    return {failed || FD_ISSET(watched, &reading) != 0, failed || FD_ISSET(watched, &writing) != 0};
}

std::error_code SocketError(int socket) {
    int error = 0;
    int length = sizeof error;
    if (getsockopt(AsSocket(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &length) != 0)
        error = WSAGetLastError();
    return {error, std::system_category()};
}

bool IsSocketConnected(int socket) {
    sockaddr_storage peer = {};
    int length = sizeof peer;
    return getpeername(AsSocket(socket), reinterpret_cast<sockaddr*>(&peer), &length) == 0;
}

bool IsSocketClosed(int socket) {
    char byte = 0;
    const int length = recv(AsSocket(socket), &byte, 1, MSG_PEEK);
    return length == 0 || (length < 0 && WSAGetLastError() != WSAEWOULDBLOCK);
}

void ShutDownSocket(int socket) {
    shutdown(AsSocket(socket), SD_BOTH);
}

}  // namespace mqtt
}  // namespace QoPlayer
