#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/common/DefaultLogSink.h"
#include "platform/common/SinkCall.h"
#include "platform/posix/LibraryThread.h"

// A managed runtime keeps the threads that have entered it: it lets the process end only after they have, or ends
// them where they enter it next. So no thread that lives longer than one line enters the host's sink: each line of a
// thread of the library has a thread of its own.

namespace {

constexpr std::chrono::milliseconds kLookAgain{20};

struct Courier {
    SinkCall call;
    std::string line;
    std::mutex mutex;
    std::condition_variable changed;
    bool isDone = false;
};

/// Tells that the courier is done, also when the runtime has ended its thread.
class Return {
public:
    explicit Return(Courier& courier) : m_courier(courier) {}
    ~Return() {
        const std::lock_guard<std::mutex> lock(m_courier.mutex);
        m_courier.isDone = true;
        m_courier.changed.notify_all();
    }
    Return(const Return&) = delete;
    Return& operator=(const Return&) = delete;

private:
    Courier& m_courier;
};

/// Null when the system gives no thread or no memory.
std::shared_ptr<Courier> sendCourier(const SinkCall& call, const char* line) {
    try {
        auto courier = std::make_shared<Courier>();
        courier->call = call;
        courier->line = line;
        std::thread([courier] {
            const Return atTheEnd(*courier);
            MakeSinkCall(courier->call, courier->line.c_str());
        }).detach();
        return courier;
    } catch (const std::exception&) {
        return nullptr;
    }
}

void await(Courier& courier) {
    std::unique_lock<std::mutex> lock(courier.mutex);
    while (!courier.isDone && !HasLeftHostSink())
        courier.changed.wait_for(lock, kLookAgain);
}

}  // namespace

void DeliverLine(const SinkCall& call, const char* line) {
    const bool isHosts = call.sink != &WriteLogLine;
    const auto courier = isHosts && IsLibraryThread() ? sendCourier(call, line) : nullptr;
    if (courier)
        await(*courier);
    else
        MakeSinkCall(call, line);
}
