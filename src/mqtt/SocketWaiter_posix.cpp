#include "mqtt/SocketWaiter.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "network/Sockets.h"

namespace QoPlayer {
namespace mqtt {
namespace {

bool MakeQuiet(int descriptor) {
    return fcntl(descriptor, F_SETFL, O_NONBLOCK) == 0 && fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0;
}

}  // namespace

SocketWaiter::SocketWaiter() {
    int ends[2];
    if (pipe(ends) != 0) return;
    if (!MakeQuiet(ends[0]) || !MakeQuiet(ends[1])) {
        close(ends[0]);
        close(ends[1]);
        return;
    }
    m_wakeRead = ends[0];
    m_wakeWrite = ends[1];
}

SocketWaiter::~SocketWaiter() {
    if (!isUsable()) return;
    close(static_cast<int>(m_wakeRead));
    close(static_cast<int>(m_wakeWrite));
}

void SocketWaiter::wake() {
    if (m_woken.exchange(true)) return;
    const char byte = 0;
    while (write(static_cast<int>(m_wakeWrite), &byte, 1) < 0 && errno == EINTR) {
    }
}

// There is one byte at most: the next wake-up writes only once this one is taken.
void SocketWaiter::takeWakeUp() {
    char byte = 0;
    if (read(static_cast<int>(m_wakeRead), &byte, 1) == 1) m_woken = false;
}

SocketWaiter::Ready SocketWaiter::wait(int socket, Interest interest, int timeoutMs) {
    pollfd descriptors[2] = {{static_cast<int>(m_wakeRead), POLLIN, 0}, {socket, 0, 0}};
    if (interest.read) descriptors[1].events |= POLLIN;
    if (interest.write) descriptors[1].events |= POLLOUT;
    if (poll(descriptors, 2, timeoutMs) <= 0) return {};
    if (descriptors[0].revents != 0) takeWakeUp();
    const bool failed = (descriptors[1].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
    return {failed || (descriptors[1].revents & POLLIN) != 0,
            failed || (descriptors[1].revents & POLLOUT) != 0};
}

std::error_code SocketError(int socket) {
    int error = 0;
    socklen_t length = sizeof error;
    if (getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) != 0) error = errno;
    return {error, std::generic_category()};
}

bool IsSocketConnected(int socket) {
    sockaddr_storage peer = {};
    socklen_t length = sizeof peer;
    return getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &length) == 0;
}

bool IsSocketClosed(int socket) {
    char byte = 0;
    const ssize_t length = recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return length == 0 || (length < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
}

void ShutDownSocket(int socket) {
    shutdown(socket, SHUT_RDWR);
}

}  // namespace mqtt
}  // namespace QoPlayer
