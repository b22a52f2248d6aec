#include "message_center/CenterWatch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "fakes/FakeMsgCenter.h"
#include "message_center/CMsgCenterFactory.h"
#include "platform/HostSink.h"
#include "platform/LibraryThread.h"
#include "platform/Log.h"

using Bas::CenterState;
using fakes::FakeMsgCenter;
using QoPlayer::MsgCenterState;

namespace {

/// What the sink was called with.
struct Heard {
    struct Change {
        int main;
        int state;
        std::string reason;
    };
    std::vector<Change> changes;
    std::atomic<std::thread::id> thread{};

    static void receive(void* user, int main, int state, const char* reason) {
        auto& self = *static_cast<Heard*>(user);
        self.thread = std::this_thread::get_id();
        self.changes.push_back({main, state, reason});
    }
};

class CenterWatch : public testing::Test {
protected:
    void SetUp() override { Bas::CMsgCenterFactory::Inst(); }
    void TearDown() override { Bas::SetCenterStatusSink(nullptr, nullptr); }
};

TEST_F(CenterWatch, GivesTheStatusOfTheCenterThatIsAskedFor) {
    FakeMsgCenter::main().status({MsgCenterState::Refused, "not authorised", 17});
    FakeMsgCenter::backup().status({MsgCenterState::Connected, "connected to b", 18});
    EXPECT_EQ(Bas::GetCenterStatus(true).state, CenterState::Refused);
    EXPECT_EQ(Bas::GetCenterStatus(true).reason, "not authorised");
    EXPECT_EQ(Bas::GetCenterStatus(true).sinceMs, 17);
    EXPECT_EQ(Bas::GetCenterStatus(false).state, CenterState::Connected);
    EXPECT_EQ(Bas::GetCenterStatus(false).reason, "connected to b");
}

TEST_F(CenterWatch, GivesTheCountersOfTheCenterThatIsAskedFor) {
    FakeMsgCenter::backup().counters({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14});
    const Bas::CenterCounters counters = Bas::GetCenterCounters(false);
    EXPECT_EQ(counters.accepted, 1U);
    EXPECT_EQ(counters.published, 2U);
    EXPECT_EQ(counters.acknowledged, 3U);
    EXPECT_EQ(counters.refused, 4U);
    EXPECT_EQ(counters.droppedUnusable, 5U);
    EXPECT_EQ(counters.droppedLate, 6U);
    EXPECT_EQ(counters.droppedAtReconnect, 7U);
    EXPECT_EQ(counters.droppedAtStop, 8U);
    EXPECT_EQ(counters.notAcceptedFull, 9U);
    EXPECT_EQ(counters.notAcceptedUnconnected, 10U);
    EXPECT_EQ(counters.reconnects, 11U);
    EXPECT_EQ(counters.waiting, 12U);
    EXPECT_EQ(counters.waitingRecords, 13U);
    EXPECT_EQ(counters.oldestWaitingMs, 14);
    EXPECT_EQ(Bas::GetCenterCounters(true).accepted, 0U);
}

TEST_F(CenterWatch, TheSinkHearsOfBothCentersInOrder) {
    Heard heard;
    Bas::SetCenterStatusSink(Heard::receive, &heard);
    FakeMsgCenter::main().tell(MsgCenterState::Connecting, "starting");
    FakeMsgCenter::backup().tell(MsgCenterState::Waiting, "cannot connect");
    FakeMsgCenter::main().tell(MsgCenterState::Connected, "connected to a");
    ASSERT_EQ(heard.changes.size(), 3U);
    EXPECT_EQ(heard.changes[0].main, 1);
    EXPECT_EQ(heard.changes[0].state, static_cast<int>(CenterState::Connecting));
    EXPECT_EQ(heard.changes[0].reason, "starting");
    EXPECT_EQ(heard.changes[1].main, 0);
    EXPECT_EQ(heard.changes[1].state, static_cast<int>(CenterState::Waiting));
    EXPECT_EQ(heard.changes[2].reason, "connected to a");
}

TEST_F(CenterWatch, ASinkThatIsTakenAwayHearsNothingMore) {
    Heard first;
    Heard second;
    Bas::SetCenterStatusSink(Heard::receive, &first);
    Bas::SetCenterStatusSink(Heard::receive, &second);
    FakeMsgCenter::main().tell(MsgCenterState::Connecting, "a");
    Bas::SetCenterStatusSink(nullptr, nullptr);
    FakeMsgCenter::main().tell(MsgCenterState::Connected, "b");
    EXPECT_TRUE(first.changes.empty());
    EXPECT_EQ(second.changes.size(), 1U);
}

TEST_F(CenterWatch, NoThreadIsInsideASinkThatHasBeenReplaced) {
    struct Counter {
        std::atomic<int> inside{0};
        static void receive(void* user, int, int, const char*) {
            auto& inside = static_cast<Counter*>(user)->inside;
            ++inside;
            std::this_thread::yield();
            --inside;
        }
    };
    std::atomic<bool> run{true};
    std::vector<std::thread> centers;
    for (const FakeMsgCenter center : {FakeMsgCenter::main(), FakeMsgCenter::backup()})
        centers.emplace_back([&run, center] {
            while (run)
                center.tell(MsgCenterState::Waiting, "x");
        });
    const auto ignore = [](void*, int, int, const char*) {};
    for (int i = 0; i < 500; ++i) {
        Counter counter;
        Bas::SetCenterStatusSink(&Counter::receive, &counter);
        Bas::SetCenterStatusSink(i % 2 == 0 ? +ignore : nullptr, nullptr);
        EXPECT_EQ(counter.inside, 0);
    }
    run = false;
    for (std::thread& center : centers)
        center.join();
}

#if !defined(_WIN32)
TEST_F(CenterWatch, NoLastingThreadOfTheLibraryEntersTheSink) {
    Heard heard;
    Bas::SetCenterStatusSink(Heard::receive, &heard);
    std::thread::id libraryThread;
    auto thread = StartLibraryThread([&] {
        libraryThread = std::this_thread::get_id();
        FakeMsgCenter::main().tell(MsgCenterState::Connecting, "a");
    });
    JoinUnlessEnding(thread);
    ASSERT_EQ(heard.changes.size(), 1U);
    EXPECT_NE(heard.thread.load(), libraryThread);
}
#endif

TEST_F(CenterWatch, TheSinkMayReadAndStartsAndStopsNothing) {
    static std::string seen;
    FakeMsgCenter::main().status({MsgCenterState::Connected, "as it is", 1});
    Bas::SetCenterStatusSink(
        [](void*, int main, int, const char*) {
            seen = Bas::GetCenterStatus(main == 1).reason;
            Bas::CMsgCenterFactory::Inst()->Stop();
            EXPECT_EQ(Bas::CMsgCenterFactory::Inst()->Start(R"({"gatewayDns":{"main":["m:1"],"backup":[]}})",
                                                            Bas::HeartBaseConfig()),
                      0);
        },
        nullptr);
    FakeMsgCenter::main().tell(MsgCenterState::Connected, "a");
    EXPECT_EQ(seen, "as it is");
    EXPECT_EQ(FakeMsgCenter::main().stops(), 0);
    EXPECT_TRUE(FakeMsgCenter::main().starts().empty());
}

TEST_F(CenterWatch, ANewTokenGoesToBothCenters) {
    EXPECT_TRUE(Bas::RenewAccessToken("fresh", 1'900'000'000));
    const std::vector<std::pair<std::string, std::int64_t>> given = {{"fresh", 1'900'000'000}};
    EXPECT_EQ(FakeMsgCenter::main().renewals(), given);
    EXPECT_EQ(FakeMsgCenter::backup().renewals(), given);
}

TEST_F(CenterWatch, OneCenterThatTakesTheTokenIsEnough) {
    FakeMsgCenter::main().renewFails();
    EXPECT_TRUE(Bas::RenewAccessToken("fresh", 0));
    EXPECT_EQ(FakeMsgCenter::backup().renewals().size(), 1U);
    FakeMsgCenter::main().renewFails(false);
    FakeMsgCenter::backup().renewFails();
    EXPECT_TRUE(Bas::RenewAccessToken("fresh", 0));
    FakeMsgCenter::main().renewFails();
    EXPECT_FALSE(Bas::RenewAccessToken("fresh", 0));
}

TEST_F(CenterWatch, OnceTheHostsSinksAreLeftNothingComesToThem) {
    Heard heard;
    Bas::SetCenterStatusSink(Heard::receive, &heard);
    LeaveHostSink();
    FakeMsgCenter::main().tell(MsgCenterState::Connected, "a");
    EXPECT_TRUE(heard.changes.empty());
}

}  // namespace
