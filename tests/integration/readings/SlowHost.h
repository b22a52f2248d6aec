#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

/// A host behind a network interface of its own (10.77.0.2 and fd77::2, in the network that EnterOwnNetwork
/// made): it answers echo requests after a delay, and nothing else.
class SlowHost {
public:
    enum class Answers { All, None, WithStrangersFirst };

    SlowHost(std::chrono::milliseconds delay, Answers answers);
    ~SlowHost();
    SlowHost(const SlowHost&) = delete;
    SlowHost& operator=(const SlowHost&) = delete;

    /// Why there is no such host; empty when there is.
    const std::string& problem() const { return m_problem; }
    int requests() const { return m_requests; }

private:
    void openInterface();
    void serve();
    void answer(unsigned char* packet, std::size_t length);
    void sendStranger(const unsigned char* packet, std::size_t length, std::size_t message);

    const std::chrono::milliseconds m_delay;
    const Answers m_answers;
    std::string m_problem;
    int m_interface = -1;
    std::atomic<int> m_requests{0};
    std::atomic<bool> m_run{true};
    std::thread m_thread;
};
