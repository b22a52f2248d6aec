#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "data_report/DataReportManager.h"
#include "heartbeat/LiveHeartReportManager.h"
#include "message_center/CMsgCenterFactory.h"
#include "support/Eventually.h"

// Which signals the library's threads leave to the host.

namespace {

using support::Eventually;

constexpr unsigned long long kAll = ~0ULL;
constexpr std::size_t kThreadsOfTheLibrary = 6;  // two connections, heartbeat, collection, send, ping

bool IsIn(unsigned long long mask, int signal) {
    return (mask >> (signal - 1) & 1U) != 0;
}

/// The mask of blocked signals of each thread of this process, as the kernel tells it. A thread that is only
/// being made has all of them blocked, and is left out.
std::map<std::string, unsigned long long> BlockedByThread() {
    std::map<std::string, unsigned long long> result;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        std::string field;
        while (status >> field && field != "SigBlk:")
            std::getline(status, field);
        std::string mask;
        const unsigned long long bits = status >> mask ? std::stoull(mask, nullptr, 16) : kAll;
        if (!IsIn(bits, SIGSEGV)) result[task.path().filename()] = bits;
    }
    return result;
}

/// The masks of the threads that have come since `before`, once there are `count` of them.
std::map<std::string, unsigned long long> NewThreads(const std::map<std::string, unsigned long long>& before,
                                                     std::size_t count) {
    std::map<std::string, unsigned long long> result;
    EXPECT_TRUE(Eventually([&] {
        result = BlockedByThread();
        for (const auto& known : before)
            result.erase(known.first);
        return result.size() >= count;
    }));
    return result;
}

void StartEverything() {
    const std::string servers = R"({"gatewayDns":{"main":["127.0.0.1:1"],"backup":["127.0.0.1:1"]}})";
    ASSERT_EQ(Bas::CMsgCenterFactory::Inst()->Start(servers, {}), 1);
    int mode = 0;
    ASSERT_EQ(LiveHeartReportManager::GetInstance()->startLiveheart("{}", mode), 1);
    auto& reports = data_report::DataReportManager::Instance();
    ASSERT_TRUE(reports.Init());
    reports.ReportStart("anchor", data_report::StreamTypeEnum::Sampled);
}

void StopEverything() {
    LiveHeartReportManager::GetInstance()->stopLiveheart();
    data_report::DataReportManager::Instance().ReportStop("anchor");
    Bas::CMsgCenterFactory::Inst()->Stop();
}

TEST(Signals, EveryThreadOfTheLibraryLeavesToTheHostWhatIsSentToTheProcess) {
    const auto before = BlockedByThread();
    StartEverything();
    const auto threads = NewThreads(before, kThreadsOfTheLibrary);
    EXPECT_EQ(threads.size(), kThreadsOfTheLibrary);
    for (const auto& [thread, mask] : threads)
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD, SIGALRM, SIGVTALRM, SIGTSTP,
                                 SIGWINCH, SIGIO, SIGPIPE})
            EXPECT_TRUE(IsIn(mask, signal)) << "thread " << thread << ", signal " << signal;
    StopEverything();
}

TEST(Signals, EveryThreadOfTheLibraryTakesThoseByWhichRuntimesSuspendThreads) {
    const auto before = BlockedByThread();
    StartEverything();
    const auto threads = NewThreads(before, kThreadsOfTheLibrary);
    for (const auto& [thread, mask] : threads) {
        for (const int signal : {SIGUSR1, SIGUSR2, SIGPWR, SIGXCPU, SIGPROF, SIGURG, SIGSEGV, SIGBUS, SIGFPE,
                                 SIGILL, SIGTRAP, SIGABRT, SIGSYS})
            EXPECT_FALSE(IsIn(mask, signal)) << "thread " << thread << ", signal " << signal;
        for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal)
            EXPECT_FALSE(IsIn(mask, signal)) << "thread " << thread << ", signal " << signal;
    }
    StopEverything();
}

// A host that waits for a signal with sigwait or signalfd blocks it in all of its threads before it starts
// more.
TEST(Signals, WhatTheHostBlocksItselfStaysBlockedInTheThreadsOfTheLibrary) {
    sigset_t mine;
    sigemptyset(&mine);
    sigaddset(&mine, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &mine, nullptr);
    const auto before = BlockedByThread();
    StartEverything();
    for (const auto& [thread, mask] : NewThreads(before, kThreadsOfTheLibrary))
        EXPECT_TRUE(IsIn(mask, SIGUSR1)) << "thread " << thread;
    StopEverything();
}

TEST(Signals, TheThreadThatCallsKeepsItsOwnMask) {
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    StartEverything();
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < SIGRTMAX; ++signal)
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
    StopEverything();
}

}  // namespace
