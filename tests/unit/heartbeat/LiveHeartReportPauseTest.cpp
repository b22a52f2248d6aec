#include <atomic>
#include <memory>

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
        EXPECT_EQ(Parsed(sent[static_cast<std::size_t>(i)].body)["bizType"].asInt(), i);
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
    fakes::FailThreadCreations(4);
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

struct Unstopped : LiveHeartReport {
    using LiveHeartReport::m_commonSender;
    using LiveHeartReport::m_mainSender;
};

/// Keeps each of the heartbeat's threads in its first line until it is released.
class FirstLine {
public:
    FirstLine() { SetLogSink(&receive, this); }
    ~FirstLine() { SetLogSink(nullptr, nullptr); }
    FirstLine(const FirstLine&) = delete;
    FirstLine& operator=(const FirstLine&) = delete;

    std::atomic<bool> isReached{false};
    std::atomic<bool> isReleased{false};
    std::atomic<bool> isOver{false};

private:
    static void receive(void* user, int, const char* line) {
        auto& self = *static_cast<FirstLine*>(user);
        const std::string text(line);
        if (text.find("ThreadProc finish") != std::string::npos) self.isOver = true;
        if (text.find("ThreadProc start") == std::string::npos) return;
        self.isReached = true;
        while (!self.isReleased)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
};

TEST(LiveHeartReportEnd, WaitsOneSecondForAThreadThatDoesNotCome) {
    FirstLine line;
    auto own = std::make_unique<Unstopped>();
    ASSERT_EQ(own->start(), 1);
    ASSERT_TRUE(Eventually([&line] { return line.isReached.load(); }));
    const std::unique_ptr<MsgSenderStatus> mainSender(own->m_mainSender);
    const std::unique_ptr<MsgSenderStatus> commonSender(own->m_commonSender);
    {
        const fakes::VirtualTime time;
        own.reset();
        EXPECT_EQ(time.passedMs(), 1000u);
    }
    line.isReleased = true;
    EXPECT_TRUE(Eventually([&line] { return line.isOver.load(); }));
}

}  // namespace
