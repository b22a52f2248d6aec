#pragma once

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <thread>
#include <vector>

namespace support {

/// A TCP relay on a free loopback port, between a client and a server on another one. It can do what networks
/// do: be slow and thin, cut connections, swallow what is sent, refuse new connections.
class Relay {
public:
    explicit Relay(int targetPort);
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    int port() const { return m_port; }
    int connectionsSeen() const { return m_seen; }

    void cut();       ///< ends every connection there is
    void reset();     ///< the same with RST, both ways
    void halfOpen();  ///< ends the server's side of every connection there is; the client hears nothing more
    void refuse(bool refuse);    ///< ends every new connection at once
    void swallow(bool swallow);  ///< keeps connections and lets nothing through, either way

    // What the link is like, from now on. A thin one takes little ahead and then leaves the rest with the
    // sender, as a full modem does: set its rate before the connection is made.
    void delay(std::chrono::milliseconds oneWay);  ///< adds this much each way
    void limit(std::size_t bytesPerSecond);        ///< carries no more than this each way; 0: no limit
    void segment(std::size_t bytes);               ///< hands over no more than this at a time; 0: no limit

private:
    using Clock = std::chrono::steady_clock;
    enum class Order { None, Cut, Reset, HalfOpen };

    /// Bytes that the link carries, and when they arrive.
    struct Piece {
        Clock::time_point due;
        std::string bytes;
    };
    struct Direction {
        int from;
        int to;
        bool ended = false;
        Clock::time_point busyUntil;  ///< when the link has sent what it has taken
        std::deque<Piece> pieces;
    };
    struct Pair {
        Direction up;    ///< from the client to the server
        Direction down;  ///< and back
        bool halfOpen = false;
    };

    void run();
    std::vector<pollfd> watched() const;
    void watch(const Direction& direction, std::vector<pollfd>& sockets) const;
    int waitMs() const;
    bool mayTake(const Direction& direction) const;
    void give(Order order);
    void obey();
    void accept();
    void forward();
    bool move(Pair& pair) const;
    bool take(Direction& direction) const;
    bool hand(Direction& direction) const;
    static void loseServer(Pair& pair);
    void closePair(std::size_t index);
    void poke();

    const int m_targetPort;
    int m_port = 0;
    int m_listener = -1;
    int m_wake[2] = {-1, -1};
    std::atomic<bool> m_stop{false};
    std::atomic<Order> m_order{Order::None};
    std::atomic<bool> m_refuse{false};
    std::atomic<bool> m_swallow{false};
    std::atomic<std::int64_t> m_delayMs{0};
    std::atomic<std::size_t> m_rate{0};
    std::atomic<std::size_t> m_segment{0};
    std::atomic<int> m_seen{0};
    std::vector<Pair> m_pairs;
    std::thread m_thread;
};

/// A free loopback port on which connections succeed and nothing is ever answered.
class SilentListener {
public:
    SilentListener();
    ~SilentListener();
    SilentListener(const SilentListener&) = delete;
    SilentListener& operator=(const SilentListener&) = delete;
    int port() const { return m_port; }

protected:
    explicit SilentListener(int backlog);

private:
    int m_listener = -1;
    int m_port = 0;
};

/// A loopback port that swallows attempts to connect, as a host behind a firewall does.
class Blackhole : public SilentListener {
public:
    Blackhole();
    ~Blackhole();

private:
    std::vector<int> m_fillers;
};

}  // namespace support
