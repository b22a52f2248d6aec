#include "integration/support/Relay.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <stdexcept>

#include "support/Loopback.h"

namespace support {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kTakenAhead(250);  // by a thin link
constexpr std::size_t kMostPieces = 256;  // on their way over a wide one

// Small packets and little room for them, so that what a thin link has not taken stays with the sender.
void KeepBuffersSmall(int socket) {
    constexpr int kRoom = 4096;
    constexpr int kSegment = 536;
    setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &kRoom, sizeof kRoom);
    setsockopt(socket, IPPROTO_TCP, TCP_MAXSEG, &kSegment, sizeof kSegment);
}

void SendAtOnce(int socket) {
    constexpr int kOn = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof kOn);
}

// The close that follows sends RST.
void AbortOnClose(int client, int server) {
    constexpr linger kAtOnce = {1, 0};
    setsockopt(client, SOL_SOCKET, SO_LINGER, &kAtOnce, sizeof kAtOnce);
    setsockopt(server, SOL_SOCKET, SO_LINGER, &kAtOnce, sizeof kAtOnce);
}

// False when the other side has gone.
bool Discard(int socket) {
    char bytes[65536];
    const ssize_t length = recv(socket, bytes, sizeof bytes, MSG_DONTWAIT);
    return length > 0 || (length < 0 && (errno == EAGAIN || errno == EINTR));
}

}  // namespace

Relay::Relay(int targetPort) : m_targetPort(targetPort) {
    m_listener = ListenOnLoopback(m_port);
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

void Relay::give(Order order) {
    m_order = order;
    poke();
    while (m_order != Order::None)
        std::this_thread::yield();
}

void Relay::cut() {
    give(Order::Cut);
}

void Relay::reset() {
    give(Order::Reset);
}

void Relay::halfOpen() {
    give(Order::HalfOpen);
}

void Relay::refuse(bool refuse) {
    m_refuse = refuse;
}

void Relay::swallow(bool swallow) {
    m_swallow = swallow;
    poke();
}

void Relay::delay(std::chrono::milliseconds oneWay) {
    m_delayMs = oneWay.count();
}

void Relay::limit(std::size_t bytesPerSecond) {
    m_rate = bytesPerSecond;
    if (bytesPerSecond > 0) KeepBuffersSmall(m_listener);
}

void Relay::segment(std::size_t bytes) {
    m_segment = bytes;
}

void Relay::run() {
    while (!m_stop) {
        std::vector<pollfd> sockets = watched();
        poll(sockets.data(), sockets.size(), waitMs());
        char byte = 0;
        if ((sockets[0].revents & POLLIN) != 0 && read(m_wake[0], &byte, 1) < 0) return;
        obey();
        if (!m_swallow) forward();
        if ((sockets[1].revents & POLLIN) != 0) accept();
    }
    while (!m_pairs.empty())
        closePair(0);
}

std::vector<pollfd> Relay::watched() const {
    std::vector<pollfd> sockets = {{m_wake[0], POLLIN, 0}, {m_listener, POLLIN, 0}};
    if (m_swallow) return sockets;
    for (const Pair& pair : m_pairs) {
        watch(pair.up, sockets);
        watch(pair.down, sockets);
    }
    return sockets;
}

void Relay::watch(const Direction& direction, std::vector<pollfd>& sockets) const {
    if (mayTake(direction)) sockets.push_back({direction.from, POLLIN, 0});
    if (!direction.pieces.empty() && direction.pieces.front().due <= Clock::now())
        sockets.push_back({direction.to, POLLOUT, 0});
}

// Until the next piece arrives or a thin link takes more.
int Relay::waitMs() const {
    if (m_swallow) return -1;
    auto next = Clock::time_point::max();
    const auto now = Clock::now();
    for (const Pair& pair : m_pairs) {
        for (const Direction* direction : {&pair.up, &pair.down}) {
            if (!direction->pieces.empty() && direction->pieces.front().due > now)
                next = std::min(next, direction->pieces.front().due);
            if (m_rate > 0 && !direction->ended && !mayTake(*direction))
                next = std::min(next, direction->busyUntil - kTakenAhead + milliseconds(1));
        }
    }
    if (next == Clock::time_point::max()) return -1;
    return static_cast<int>(std::chrono::ceil<milliseconds>(std::max(next - now, Clock::duration())).count());
}

bool Relay::mayTake(const Direction& direction) const {
    if (direction.ended) return false;
    if (m_rate > 0) return direction.busyUntil - Clock::now() < kTakenAhead;
    return direction.pieces.size() < kMostPieces;
}

void Relay::obey() {
    const Order order = m_order;
    if (order == Order::None) return;
    if (order == Order::HalfOpen) {
        for (Pair& pair : m_pairs)
            loseServer(pair);
    }
    while (order != Order::HalfOpen && !m_pairs.empty()) {
        if (order == Order::Reset) AbortOnClose(m_pairs[0].up.from, m_pairs[0].up.to);
        closePair(0);
    }
    m_order = Order::None;
}

void Relay::loseServer(Pair& pair) {
    if (pair.halfOpen) return;
    close(pair.up.to);
    pair.halfOpen = true;
    pair.up.pieces.clear();
    pair.down.pieces.clear();
    pair.down.ended = true;
}

void Relay::accept() {
    const int client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) return;
    ++m_seen;
    const int server =
        m_refuse ? -1 : ConnectToLoopback(m_targetPort, m_rate > 0 ? KeepBuffersSmall : nullptr);
    if (server < 0) {
        close(client);
        return;
    }
    SendAtOnce(client);
    SendAtOnce(server);
    m_pairs.emplace_back();
    m_pairs.back().up = {client, server, false, {}, {}};
    m_pairs.back().down = {server, client, false, {}, {}};
}

void Relay::forward() {
    for (std::size_t i = 0; i < m_pairs.size();) {
        if (move(m_pairs[i]))
            ++i;
        else
            closePair(i);
    }
}

bool Relay::move(Pair& pair) const {
    if (pair.halfOpen) return Discard(pair.up.from);
    return take(pair.up) && hand(pair.up) && take(pair.down) && hand(pair.down);
}

// False when that side is not there any more.
bool Relay::take(Direction& direction) const {
    if (!mayTake(direction)) return true;
    char bytes[65536];
    const std::size_t rate = m_rate;
    const std::size_t most = rate == 0 ? sizeof bytes : std::clamp<std::size_t>(rate / 50, 1, sizeof bytes);
    const ssize_t length = recv(direction.from, bytes, most, MSG_DONTWAIT);
    if (length < 0) return errno == EAGAIN || errno == EINTR;
    if (length == 0) {
        direction.ended = true;
        return true;
    }
    direction.busyUntil = std::max(direction.busyUntil, Clock::now());
    if (rate > 0)
        direction.busyUntil += std::chrono::microseconds(length * 1'000'000 / static_cast<ssize_t>(rate));
    direction.pieces.push_back({direction.busyUntil + milliseconds(m_delayMs),
                                std::string(bytes, static_cast<std::size_t>(length))});
    return true;
}

// Hands over what has arrived; false when the other side is gone, or the end has arrived.
bool Relay::hand(Direction& direction) const {
    const std::size_t segment = m_segment;
    while (!direction.pieces.empty() && direction.pieces.front().due <= Clock::now()) {
        std::string& bytes = direction.pieces.front().bytes;
        const std::size_t most = segment == 0 ? bytes.size() : std::min(segment, bytes.size());
        const ssize_t sent = send(direction.to, bytes.data(), most, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) return errno == EAGAIN || errno == EINTR;
        bytes.erase(0, static_cast<std::size_t>(sent));
        if (bytes.empty()) direction.pieces.pop_front();
        if (segment != 0) break;
    }
    return !direction.ended || !direction.pieces.empty();
}

void Relay::closePair(std::size_t index) {
    const Pair& pair = m_pairs[index];
    close(pair.up.from);
    if (!pair.halfOpen) close(pair.up.to);
    m_pairs.erase(m_pairs.begin() + static_cast<std::ptrdiff_t>(index));
}

SilentListener::SilentListener() : SilentListener(64) {}

SilentListener::SilentListener(int backlog) {
    m_listener = ListenOnLoopback(m_port, backlog);
}

SilentListener::~SilentListener() {
    close(m_listener);
}

// The kernel drops further attempts while the queue of connections that nobody accepts is full.
Blackhole::Blackhole() : SilentListener(0) {
    constexpr int kFillers = 8;
    for (int i = 0; i < kFillers; ++i) {
        const int filler = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        const sockaddr_in address = LoopbackAddress(port());
        connect(filler, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        m_fillers.push_back(filler);
    }
}

Blackhole::~Blackhole() {
    for (const int filler : m_fillers)
        close(filler);
}

}  // namespace support
