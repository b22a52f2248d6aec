#include "support/Loopback.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

namespace support {

sockaddr_in LoopbackAddress(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

int ListenOnLoopback(int& port, int backlog, int flags) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
    sockaddr_in address = LoopbackAddress(0);
    socklen_t length = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, name, length) != 0 || getsockname(listener, name, &length) != 0 ||
        listen(listener, backlog) != 0)
        throw std::runtime_error("cannot listen on the loopback interface");
    port = ntohs(address.sin_port);
    return listener;
}

int FreePort() {
    int port = 0;
    close(ListenOnLoopback(port));
    return port;
}

int ConnectToLoopback(int port, void (*prepare)(int socket)) {
    const int connected = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (prepare) prepare(connected);
    const sockaddr_in address = LoopbackAddress(port);
    if (connect(connected, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return connected;
    close(connected);
    return -1;
}

}  // namespace support
