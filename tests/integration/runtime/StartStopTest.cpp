#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "message_center/CMsgCenterFactory.h"
#include "platform/Log.h"
#include "support/Eventually.h"

// The factory's Start and Stop, from wherever a host may call them.

namespace {

using Bas::CMsgCenterFactory;

constexpr int kThreads = 16;
constexpr int kRounds = 40;
constexpr char kServers[] = R"({"gatewayDns":{"main":["127.0.0.1:1"],"backup":["127.0.0.1:1"]}})";

void IgnoreLine(void*, int, const char*) {}

void StartAndStopByTurns(int first) {
    for (int round = 0; round < kRounds; ++round) {
        if ((first + round) % 2 == 0)
            EXPECT_NE(CMsgCenterFactory::Inst()->Start(kServers, {}), 0);
        else
            CMsgCenterFactory::Inst()->Stop();
    }
}

TEST(StartStop, SixteenThreadsMayStartAndStopAtOnce) {
    SetLogSink(IgnoreLine, nullptr);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(StartAndStopByTurns, i);
    for (std::thread& thread : threads)
        thread.join();
    CMsgCenterFactory::Inst()->Stop();
    EXPECT_FALSE(CMsgCenterFactory::Inst()->IsMainCenterStartOK());
    EXPECT_FALSE(CMsgCenterFactory::Inst()->IsHaveBKCenter());
    EXPECT_EQ(CMsgCenterFactory::Inst()->Start(kServers, {}), 1);
    EXPECT_TRUE(CMsgCenterFactory::Inst()->IsHaveBKCenter());
    CMsgCenterFactory::Inst()->Stop();
    SetLogSink(nullptr, nullptr);
}

/// A sink that starts and stops the centers on whatever thread it is called.
struct MeddlingSink {
    std::atomic<int> calls{0};
    std::atomic<int> started{0};

    static void receive(void* user, int, const char* line) {
        auto& self = *static_cast<MeddlingSink*>(user);
        if (std::string(line).find("CMsgCenterFactory::Start") != std::string::npos) return;
        ++self.calls;
        CMsgCenterFactory::Inst()->Stop();
        if (CMsgCenterFactory::Inst()->Start(kServers, {}) == 1) ++self.started;
    }
};

TEST(StartStop, ALogSinkThatStartsAndStopsIsNotHeeded) {
    MeddlingSink sink;
    SetLogSink(MeddlingSink::receive, &sink);
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(CMsgCenterFactory::Inst()->Start(kServers, {}), 1);
        const int before = sink.calls;
        EXPECT_TRUE(support::Eventually([&] { return sink.calls > before + 2; }));  // of both connections
        EXPECT_TRUE(CMsgCenterFactory::Inst()->IsMainCenterStartOK());
        CMsgCenterFactory::Inst()->Stop();
        EXPECT_FALSE(CMsgCenterFactory::Inst()->IsMainCenterStartOK());
    }
    SetLogSink(nullptr, nullptr);
    EXPECT_EQ(sink.started, 0);
}

}  // namespace
