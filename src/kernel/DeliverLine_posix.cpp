#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "kernel/DefaultLogSink.h"
#include "kernel/LibraryThread_posix.h"
#include "kernel/SinkCall.h"

// A managed runtime keeps the threads that have entered it: it lets the process end only after they have, or
// ends them where they enter it next. So no lasting thread of the library enters the host's sink: its lines
// are carried there by couriers, threads that end as soon as no line has come for a moment.

namespace {

constexpr std::chrono::milliseconds kLookAgain{20};
constexpr std::chrono::milliseconds kIdle{50};

class Courier {
public:
    /// Has `line` carried; true when it has been, and the courier can be given another.
    bool carry(const SinkCall& call, const char* line) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_call = call;
        m_line = line;
        m_isCarrying = true;
        m_changed.notify_all();
        while (m_isCarrying && !HasLeftHostSink())
            m_changed.wait_for(lock, kLookAgain);
        return !m_isCarrying && !m_hasEnded;
    }

    /// The courier's thread: carries lines until none has come for a while.
    void run();

    std::shared_ptr<Courier> next;  ///< guarded by the mutex of the idle ones

private:
    class Delivery;

    /// False when no line has come.
    bool waitForLine(std::chrono::milliseconds limit) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, limit, [this] { return m_isCarrying; });
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    SinkCall m_call{};
    std::string m_line;
    bool m_isCarrying = false;
    bool m_hasEnded = false;
};

/// One line on its way; when the runtime ends the thread inside the sink, the courier with it.
class Courier::Delivery {
public:
    explicit Delivery(Courier& courier) : m_courier(courier) {}
    ~Delivery() {
        const std::lock_guard<std::mutex> lock(m_courier.m_mutex);
        m_courier.m_isCarrying = false;
        m_courier.m_hasEnded = !m_hasReturned;
        m_courier.m_changed.notify_all();
    }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    void make() {
        MakeSinkCall(m_courier.m_call, m_courier.m_line.c_str());
        m_hasReturned = true;
    }

private:
    Courier& m_courier;
    bool m_hasReturned = false;
};

/// Couriers that wait for a line. Never destroyed: threads outlive the static objects of the process.
class IdleCouriers {
public:
    static IdleCouriers& instance() {
        static auto* const idle = new IdleCouriers;
        return *idle;
    }

    void add(const std::shared_ptr<Courier>& courier) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        courier->next = std::exchange(m_first, courier);
    }

    std::shared_ptr<Courier> take() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        auto taken = m_first;
        if (taken) m_first = std::exchange(taken->next, nullptr);
        return taken;
    }

    /// False when it is not here: somebody has taken it and has a line for it, or will add it again.
    bool remove(const Courier& courier) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (auto* place = &m_first; *place; place = &(*place)->next) {
            if (place->get() != &courier) continue;
            *place = std::exchange((*place)->next, nullptr);
            return true;
        }
        return false;
    }

private:
    std::mutex m_mutex;
    std::shared_ptr<Courier> m_first;
};

void Courier::run() {
    for (;;) {
        if (waitForLine(kIdle))
            Delivery(*this).make();
        else if (HasLeftHostSink() || IdleCouriers::instance().remove(*this))
            return;
    }
}

/// An idle courier, else a new one; null when the system gives no thread or no memory.
std::shared_ptr<Courier> FindCourier() {
    try {
        if (auto idle = IdleCouriers::instance().take()) return idle;
        auto courier = std::make_shared<Courier>();
        std::thread([courier] { courier->run(); }).detach();
        return courier;
    } catch (const std::exception&) {
        return nullptr;
    }
}

bool CarryByCourier(const SinkCall& call, const char* line) {
    const auto courier = FindCourier();
    if (!courier) return false;
    try {
        if (courier->carry(call, line)) IdleCouriers::instance().add(courier);
        return true;
    } catch (const std::exception&) {  // no memory for a copy of the line
        IdleCouriers::instance().add(courier);
        return false;
    }
}

}  // namespace

void DeliverLine(const SinkCall& call, const char* line) {
    const bool isHosts = call.sink != &WriteLogLine;
    if (!isHosts || !IsLibraryThread() || !CarryByCourier(call, line)) MakeSinkCall(call, line);
}
