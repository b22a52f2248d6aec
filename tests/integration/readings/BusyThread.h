#pragma once

#include <atomic>
#include <thread>

/// Keeps one processor busy while it lives.
class BusyThread {
public:
    BusyThread()
        : m_thread([this] {
              while (m_run.load(std::memory_order_relaxed)) {
              }
          }) {}
    ~BusyThread() {
        m_run = false;
        m_thread.join();
    }
    BusyThread(const BusyThread&) = delete;
    BusyThread& operator=(const BusyThread&) = delete;

private:
    std::atomic<bool> m_run{true};
    std::thread m_thread;
};
