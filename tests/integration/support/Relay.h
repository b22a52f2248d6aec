#pragma once

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

namespace support {

/// A TCP relay on a free loopback port, between a client and a server on another one. It can do what networks
/// do: cut connections, swallow what is sent, refuse new connections.
class Relay {
public:
    explicit Relay(int targetPort);
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    int port() const { return m_port; }
    int connectionsSeen() const { return m_seen; }

    void cut();                  ///< ends every connection there is
    void refuse(bool refuse);    ///< ends every new connection at once
    void swallow(bool swallow);  ///< keeps connections and lets nothing through, either way

private:
    struct Pair {
        int client;
        int server;
    };
    void run();
    void accept();
    void forward();
    static bool move(int from, int to);
    void closePair(std::size_t index);
    void poke();

    const int m_targetPort;
    int m_port = 0;
    int m_listener = -1;
    int m_wake[2] = {-1, -1};
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_cut{false};
    std::atomic<bool> m_refuse{false};
    std::atomic<bool> m_swallow{false};
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
