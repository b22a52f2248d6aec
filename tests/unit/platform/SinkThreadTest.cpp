#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/Kernel.h"
#include "platform/Log.h"

// On which thread the host's sink is called.

namespace {

struct Sink {
    std::atomic<std::thread::id> thread{};
    std::atomic<int> lines{0};

    Sink() { SetLogSink(receive, this); }
    ~Sink() { SetLogSink(nullptr, nullptr); }
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    static void receive(void* user, int, const char*) {
        auto& self = *static_cast<Sink*>(user);
        self.thread = std::this_thread::get_id();
        ++self.lines;
    }
};

TEST(SinkThread, ALineOfTheHostsThreadComesOnThatThread) {
    const Sink sink;
    Log(LogLevel::Info, "line");
    EXPECT_EQ(sink.thread.load(), std::this_thread::get_id());
}

TEST(SinkThread, ALineOfALibraryThreadComesOnAnotherThreadBeforeLogReturns) {
    const Sink sink;
    std::atomic<int> linesAfterLog{-1};
    std::thread::id libraryThread;
    auto thread = StartLibraryThread([&] {
        libraryThread = std::this_thread::get_id();
        Log(LogLevel::Info, "line");
        linesAfterLog = sink.lines.load();
    });
    JoinUnlessEnding(thread);
    EXPECT_EQ(linesAfterLog, 1);
    EXPECT_NE(sink.thread.load(), libraryThread);
}

TEST(SinkThread, OnceTheHostsSinkIsLeftNoLineComesToIt) {
    const Sink sink;
    LeaveHostSink();
    Log(LogLevel::Info, "line");
    EXPECT_EQ(sink.lines, 0);
}

}  // namespace
