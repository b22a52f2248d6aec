#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "platform/HostSink.h"
#include "platform/LibraryThread.h"
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

bool IsAlive(pid_t thread) {
    return std::filesystem::exists("/proc/self/task/" + std::to_string(thread));
}

TEST(SinkThread, LinesInSuccessionShareAThreadWhichEndsWhenNoMoreCome) {
    struct Threads {
        std::mutex mutex;
        std::set<pid_t> seen;
    } threads;
    SetLogSink(
        [](void* user, int, const char*) {
            auto& into = *static_cast<Threads*>(user);
            const std::lock_guard<std::mutex> lock(into.mutex);
            into.seen.insert(gettid());
        },
        &threads);
    auto thread = StartLibraryThread([] {
        for (int i = 0; i < 1000; ++i)
            Log(LogLevel::Info, "line");
    });
    JoinUnlessEnding(thread);
    SetLogSink(nullptr, nullptr);
    EXPECT_LT(threads.seen.size(), 500U);  // one, on a machine that lets it run
    for (int tries = 0; tries < 600 && std::any_of(threads.seen.begin(), threads.seen.end(), IsAlive);
         ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(std::none_of(threads.seen.begin(), threads.seen.end(), IsAlive));
}

TEST(SinkThread, OnceTheHostsSinkIsLeftNoLineComesToIt) {
    const Sink sink;
    LeaveHostSink();
    Log(LogLevel::Info, "line");
    EXPECT_EQ(sink.lines, 0);
}

}  // namespace
