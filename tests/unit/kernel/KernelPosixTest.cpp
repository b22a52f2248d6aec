#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <system_error>

#include "fakes/CapturingLog.h"
#include "fakes/NoRoomForThreads.h"
#include "platform/Kernel.h"
#include "platform/Lasting.h"
#include "platform/LibraryThread.h"
#include "platform/Log.h"
#include "unit/ForkedChild.h"
#include "unit/kernel/ThreadEnd.h"

// What the kernel's names do where they stand on POSIX, and in the child of a fork.

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

DWORD ReturnOne(void* /*parameter*/) {
    return 1;
}

TEST(KernelPosix, ANullHandleIsRefused) {
    DWORD code = 5;
    EXPECT_EQ(GetExitCodeThread(nullptr, &code), 0);
    EXPECT_EQ(code, 5u);
    EXPECT_EQ(TerminateThread(nullptr, 1), 0);
    EXPECT_EQ(CloseHandle(nullptr), 0);
}

TEST(KernelPosix, AThreadThatTheKernelDidNotMakeHasNoIdentifierAndAwaitsNothing) {
    EXPECT_EQ(GetCurrentThreadId(), 0u);
    AwaitTermination();
}

TEST(KernelPosix, TheTickCountIsThatOfTheSystem) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_BOOTTIME, &time);
        return static_cast<unsigned long long>(time.tv_sec) * 1000 +
               static_cast<unsigned long long>(time.tv_nsec) / 1000000;
    };
    const auto before = now();
    const auto ticks = GetTickCount64();
    EXPECT_GE(ticks, before);
    EXPECT_LE(ticks, now());
}

void ExpectSleeps(DWORD ms) {
    const auto before = steady_clock::now();
    Sleep(ms);
    EXPECT_GE(steady_clock::now() - before, milliseconds(ms));
    EXPECT_LT(steady_clock::now() - before, milliseconds(ms + 20'000));
}

DWORD ExpectSleepsOfAThread(void* /*parameter*/) {
    ExpectSleeps(0);
    ExpectSleeps(1050);
    return 0;
}

TEST(KernelPosix, ASleepTakesItsSecondsAndMilliseconds) {
    const HANDLE thread = CreateThread(nullptr, 0, ExpectSleepsOfAThread, nullptr, 0, nullptr);
    ExpectSleeps(0);
    ExpectSleeps(1050);
    ExitCodeOnceEnded(thread);
    CloseHandle(thread);
}

DWORD SleepTwice(void* parameter) {
    Sleep(60'000);
    *static_cast<std::atomic<bool>*>(parameter) = true;
    Sleep(60'000);
    AwaitTermination();
    return 9;
}

TEST(KernelPosix, OnceTerminatedNoSleepHoldsAThreadAndItsResultIsTheForcedOne) {
    std::atomic<bool> wentOn{false};
    const HANDLE thread = CreateThread(nullptr, 0, SleepTwice, &wentOn, 0, nullptr);
    ASSERT_EQ(TerminateThread(thread, 77), 1);
    EXPECT_EQ(ExitCodeOnceEnded(thread), 77u);
    EXPECT_TRUE(wentOn);
    EXPECT_EQ(CloseHandle(thread), 1);
}

TEST(KernelPosix, AThreadThatTheSystemRefusesLeavesTheSystemsReason) {
    const fakes::NoRoomForThreads tight;
    DWORD id = 5;
    EXPECT_EQ(CreateThread(nullptr, 0, ReturnOne, nullptr, 0, &id), nullptr);
    EXPECT_TRUE(GetLastError() == EAGAIN || GetLastError() == ENOMEM) << GetLastError();
    EXPECT_EQ(id, 5u);
    EXPECT_THROW(StartLibraryThread([] {}), std::system_error);
}

bool IsBlocked(int signal) {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
}

TEST(KernelPosix, StartingAThreadLeavesTheCallersSignalsAsTheyWere) {
    auto joined = StartLibraryThread([] {});
    JoinUnlessEnding(joined);
    EXPECT_EQ(joined, nullptr);
    const HANDLE thread = CreateThread(nullptr, 0, ReturnOne, nullptr, 0, nullptr);
    ExitCodeOnceEnded(thread);
    CloseHandle(thread);
    for (const int signal : {SIGINT, SIGTERM, SIGCHLD, SIGPIPE, SIGUSR1})
        EXPECT_FALSE(IsBlocked(signal)) << signal;
}

TEST(KernelPosix, JoiningNoThreadDoesNothing) {
    std::shared_ptr<std::thread> none;
    JoinUnlessEnding(none);
    none = std::make_shared<std::thread>();
    JoinUnlessEnding(none);
    EXPECT_EQ(none, nullptr);
}

TEST(Fork, AProcessWithoutThreadsOfTheLibraryLeavesNoneBehind) {
    EXPECT_FALSE(IsProcessEnding());
    EXPECT_EXIT(_exit(IsProcessEnding() ? 1 : 0), testing::ExitedWithCode(0), "");
}

TEST(Fork, TheChildKnowsThatItLacksTheThreadsAndTheParentGoesOn) {
    KeepLibraryLoaded();
    InForkedChild([] { EXPECT_TRUE(IsProcessEnding()); });
    EXPECT_FALSE(IsProcessEnding());
}

TEST(Fork, TheChildAbandonsThreadsThatItCannotJoin) {
    std::atomic<bool> mayEnd{false};
    auto thread = StartLibraryThread([&mayEnd] {
        while (!mayEnd)
            Sleep(1);
    });
    InForkedChild([&thread] {
        JoinUnlessEnding(thread);
        EXPECT_EQ(thread, nullptr);
    });
    mayEnd = true;
    JoinUnlessEnding(thread);
}

TEST(Fork, TheChildLogsNothingAndKeepsTheSink) {
    const fakes::CapturingLog log;
    InForkedChild([&log] {
        Log(LogLevel::Error, "line");
        static int other = 0;
        SetLogSink([](void*, int, const char*) { ++other; }, nullptr);
        EXPECT_TRUE(log.lines().empty());
        EXPECT_EQ(other, 0);
    });
    Log(LogLevel::Info, "parent's");
    EXPECT_EQ(log.count("parent's"), 1);
}

struct LogsItsEnd {
    ~LogsItsEnd() { Log(LogLevel::Info, "end"); }
};

LogsItsEnd& Lasting() {
    static qolive::Lasting<LogsItsEnd> instance;
    return instance.object;
}

TEST(LastingObject, ItsEndComesWithTheProcessAndAfterTheHostsSinkWasLeft) {
    EXPECT_EXIT(
        {
            SetLogSink([](void*, int, const char*) { _exit(1); }, nullptr);
            Lasting();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
