#include "heartbeat/CommandCounters.h"

#include "fakes/CapturingLog.h"
#include "unit/heartbeat/HeartbeatFixture.h"

namespace {

using namespace heartbeat_test;
using fakes::CapturingLog;
using live_heartbeat::CommandCounters;
using live_heartbeat::GetCommandCounters;

const std::string kDropLine = "[LiveState] commands dropped, as more than 21 waited: ";

/// How many drops the lines tell of together.
int DropsTold(const CapturingLog& log) {
    int told = 0;
    for (const fakes::LogLine& line : log.lines()) {
        if (line.text.compare(0, kDropLine.size(), kDropLine) != 0) continue;
        EXPECT_EQ(line.level, 2);
        told += std::stoi(line.text.substr(kDropLine.size()));
    }
    return told;
}

struct CommandCountersTest : Undriven {
    void queue(int count) {
        for (int i = 0; i < count; ++i)
            ASSERT_TRUE(heartbeat.sendComand(1, std::to_string(i)));
    }
    void expectCounters(std::uint64_t queued, std::uint64_t handedOver, std::uint64_t dropped,
                        std::uint64_t waiting) {
        const CommandCounters counters = GetCommandCounters();
        EXPECT_EQ(counters.queued, queued);
        EXPECT_EQ(counters.handedOver, handedOver);
        EXPECT_EQ(counters.dropped, dropped);
        EXPECT_EQ(counters.waiting, waiting);
    }
};

TEST_F(CommandCountersTest, ABurstWhileConnectedKeepsTheLastTwentyOneAndCountsTheOthers) {
    connectAll();
    queue(60);
    expectCounters(60, 0, 39, 21);
    for (std::uint64_t sent = 1; sent <= 21; ++sent) {
        ASSERT_TRUE(heartbeat.sendComand());
        expectCounters(60, sent, 39, 21 - sent);
    }
    EXPECT_FALSE(heartbeat.sendComand());
    EXPECT_EQ(Parsed(main.sent(kCommonCmd).front().body)["data"], "39");
}

TEST_F(CommandCountersTest, TwentyOneAreNoDrop) {
    queue(21);
    expectCounters(21, 0, 0, 21);
    queue(1);
    expectCounters(22, 0, 1, 21);
}

TEST_F(CommandCountersTest, WhatIsRefusedIsNotCounted) {
    connectAll();
    queue(1);
    main.sendFails(kCommonCmd);
    EXPECT_FALSE(heartbeat.sendComand());
    expectCounters(1, 0, 0, 1);
    heartbeat.stop();
    EXPECT_FALSE(heartbeat.sendComand(1, "x"));
    expectCounters(1, 0, 0, 1);
}

TEST_F(CommandCountersTest, CopiesBringAndTakeTheirOwnQueues) {
    queue(3);
    {
        LiveHeartReport copy(heartbeat);
        expectCounters(3, 0, 0, 6);
        LiveHeartReport empty;
        copy = empty;
        expectCounters(3, 0, 0, 3);
        copy = heartbeat;
        expectCounters(3, 0, 0, 6);
    }
    expectCounters(3, 0, 0, 3);
}

TEST_F(CommandCountersTest, AStopTellsOfDropsThatNobodyHasToldOf) {
    queue(25);
    const CapturingLog log;
    heartbeat.stop();
    EXPECT_EQ(log.count(kDropLine + "4"), 1);
    heartbeat.startUndriven();
    heartbeat.stop();
    EXPECT_EQ(DropsTold(log), 4);
}

TEST(DroppedCommands, AreToldByTheHeartbeatThread) {
    const CapturingLog log;
    OpenReport heartbeat;
    ASSERT_EQ(heartbeat.start(), 1);
    for (int i = 0; i < 60; ++i)
        ASSERT_TRUE(heartbeat.sendComand(1, "{}"));
    EXPECT_TRUE(Eventually([&] { return DropsTold(log) == 39; }));
    EXPECT_LE(log.countContaining(kDropLine), 39);
}

}  // namespace
