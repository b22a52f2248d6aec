#include "fakes/HeldSleep.h"
#include "unit/heartbeat/HeartbeatFixture.h"

// What the thread does between two pauses, and how long it pauses.

namespace {

using namespace heartbeat_test;
using fakes::FakeMsgCenter;

struct LiveHeartReportPause : testing::Test {
    void SetUp() override {
        SetLogSink([](void*, int, const char*) {}, nullptr);
        ASSERT_EQ(heartbeat.start(), 1);
        ASSERT_TRUE(sleep.waitForSleeper());
    }
    void TearDown() override {
        heartbeat.stop();
        SetLogSink(nullptr, nullptr);
    }

    OpenReport heartbeat;
    fakes::HeldSleep sleep;  // goes first, so that the heartbeat's thread ends
    FakeMsgCenter main = FakeMsgCenter::main();
};

TEST_F(LiveHeartReportPause, IsTwoHundredMillisecondsAfterEachPassThatSentNoCommand) {
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(sleep.letOneEnd());
    EXPECT_EQ(sleep.asked(), std::vector<DWORD>(4, 200));
}

TEST_F(LiveHeartReportPause, WaitingCommandsDrainInOrderWithoutOneBetweenThem) {
    for (int i = 0; i < 21; ++i)
        ASSERT_TRUE(heartbeat.sendComand(i, "x"));
    main.connect(kCommonCmd);
    ASSERT_TRUE(sleep.letOneEnd());
    const auto sent = main.sent(kCommonCmd);
    ASSERT_EQ(sent.size(), 21u);
    for (int i = 0; i < 21; ++i)
        EXPECT_EQ(parsed(sent[static_cast<std::size_t>(i)].body)["bizType"].asInt(), i);
}

TEST_F(LiveHeartReportPause, ComesAfterEachRefusalOfACommand) {
    main.sendFails(kCommonCmd);
    main.connect(kCommonCmd);
    ASSERT_TRUE(heartbeat.sendComand(1, "x"));
    for (int attempts = 1; attempts <= 3; ++attempts) {
        ASSERT_TRUE(sleep.letOneEnd());
        EXPECT_EQ(main.sendAttempts(kCommonCmd), attempts);
    }
    EXPECT_EQ(heartbeat.queued().size(), 1u);
}

TEST_F(LiveHeartReportPause, AThreadOfTheHostPausesAsLong) {
    heartbeat.stop();
    fakes::failThreadCreations(4);
    ASSERT_EQ(heartbeat.start(), 1);
    std::thread host([this] { LiveHeartReport::ThreadProc(static_cast<LiveHeartReport*>(&heartbeat)); });
    EXPECT_TRUE(sleep.letOneEnd());
    EXPECT_TRUE(sleep.letOneEnd());
    heartbeat.stop();
    EXPECT_EQ(sleep.asked(), std::vector<DWORD>(sleep.asked().size(), 200));
    EXPECT_FALSE(sleep.asked().empty());
    sleep.letAllEnd();
    host.join();
}

}  // namespace
