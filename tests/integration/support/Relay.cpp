#include "integration/support/Relay.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>

namespace support {
namespace {

sockaddr_in loopback(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

int listenOnLoopback(int& port, int backlog = 64) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, name, length) != 0 || getsockname(listener, name, &length) != 0 ||
        listen(listener, backlog) != 0)
        throw std::runtime_error("cannot listen on the loopback interface");
    port = ntohs(address.sin_port);
    return listener;
}

int connectToLoopback(int port) {
    const int connected = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    if (connect(connected, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return connected;
    close(connected);
    return -1;
}

}  // namespace

Relay::Relay(int targetPort) : m_targetPort(targetPort) {
    m_listener = listenOnLoopback(m_port);
    if (pipe2(m_wake, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    m_thread = std::thread([this] { run(); });
}

Relay::~Relay() {
    m_stop = true;
    poke();
    m_thread.join();
    close(m_listener);
    close(m_wake[0]);
    close(m_wake[1]);
}

void Relay::poke() {
    if (write(m_wake[1], "", 1) < 0) throw std::runtime_error("no pipe");
}

void Relay::cut() {
    m_cut = true;
    poke();
    while (m_cut)
        std::this_thread::yield();
}

void Relay::refuse(bool refuse) {
    m_refuse = refuse;
}

void Relay::swallow(bool swallow) {
    m_swallow = swallow;
    poke();
}

void Relay::run() {
    while (!m_stop) {
        std::vector<pollfd> watched = {{m_wake[0], POLLIN, 0}, {m_listener, POLLIN, 0}};
        if (!m_swallow) {
            for (const Pair& pair : m_pairs) {
                watched.push_back({pair.client, POLLIN, 0});
                watched.push_back({pair.server, POLLIN, 0});
            }
        }
        poll(watched.data(), watched.size(), -1);
        char byte = 0;
        if ((watched[0].revents & POLLIN) != 0 && read(m_wake[0], &byte, 1) < 0) return;
        if (m_cut || m_stop) {
            while (!m_pairs.empty())
                closePair(0);
            m_cut = false;
        }
        if (!m_swallow) forward();
        if ((watched[1].revents & POLLIN) != 0) accept();
    }
}

void Relay::accept() {
    const int client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) return;
    ++m_seen;
    const int server = m_refuse ? -1 : connectToLoopback(m_targetPort);
    if (server < 0)
        close(client);
    else
        m_pairs.push_back({client, server});
}

void Relay::forward() {
    for (std::size_t i = 0; i < m_pairs.size();) {
        if (move(m_pairs[i].client, m_pairs[i].server) && move(m_pairs[i].server, m_pairs[i].client))
            ++i;
        else
            closePair(i);
    }
}

bool Relay::move(int from, int to) {
    char bytes[65536];
    const ssize_t length = recv(from, bytes, sizeof bytes, MSG_DONTWAIT);
    if (length < 0) return errno == EAGAIN || errno == EINTR;
    return length > 0 && send(to, bytes, static_cast<std::size_t>(length), MSG_NOSIGNAL) == length;
}

void Relay::closePair(std::size_t index) {
    close(m_pairs[index].client);
    close(m_pairs[index].server);
    m_pairs.erase(m_pairs.begin() + static_cast<std::ptrdiff_t>(index));
}

SilentListener::SilentListener() : SilentListener(64) {}

SilentListener::SilentListener(int backlog) {
    m_listener = listenOnLoopback(m_port, backlog);
}

SilentListener::~SilentListener() {
    close(m_listener);
}

// The kernel drops further attempts while the queue of connections that nobody accepts is full.
Blackhole::Blackhole() : SilentListener(0) {
    constexpr int kFillers = 8;
    for (int i = 0; i < kFillers; ++i) {
        const int filler = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        const sockaddr_in address = loopback(port());
        connect(filler, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        m_fillers.push_back(filler);
    }
}

Blackhole::~Blackhole() {
    for (const int filler : m_fillers)
        close(filler);
}

}  // namespace support
