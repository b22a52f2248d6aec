#include "unit/ForkedChild.h"
#include "unit/heartbeat/HeartbeatFixture.h"

// In the child of a fork the heartbeat neither shows nor changes what the parent's threads shared.

namespace {

using namespace heartbeat_test;

struct LiveHeartReportFork : Undriven {
    void SetUp() override {
        Undriven::SetUp();
        connectAll();
        heartbeat.updateLiveID("parent");
        heartbeat.updateliveStatus(true);
        heartbeat.updatePushStatus(1);
        ASSERT_TRUE(heartbeat.sendComand(1, "parent's"));
    }

    // Nobody else is there in the child, and its locks are as the fork found them.

    /// What the object holds, read past the operations.
    std::string held() const QOLIVE_NO_THREAD_SAFETY_ANALYSIS {
        const LiveHeartReportData& data = heartbeat.m_data;
        std::string text =
            data.sessionId + data.streamName + data.micStreamName + data.mixStreamName + data.channelId;
        for (const std::int32_t number :
             {data.liveStatus, data.micStatus, data.videoAppId, data.business, data.pushStatus,
              data.micVideoAppId, data.micPushStatus, data.mixMode, data.mixStatus, data.mixWidth})
            text += " " + std::to_string(number);
        return text + (heartbeat.m_mainSender->m_bDataChanged ? " marked" : "") +
               (heartbeat.m_backSender->m_bDataChanged ? " marked" : "");
    }

    std::size_t commandsHeld() const QOLIVE_NO_THREAD_SAFETY_ANALYSIS { return heartbeat.m_cmdQueue.size(); }
};

TEST_F(LiveHeartReportFork, TheChildReadsNothing) {
    InForkedChild([this] {
        EXPECT_EQ(heartbeat.getSessionId(), "");
        EXPECT_EQ(heartbeat.GetLiveHeartReportData().liveStatus, 2);
        EXPECT_FALSE(heartbeat.isConnecting());
        std::int64_t mainTm = 5;
        std::int64_t backTm = 6;
        heartbeat.GetLastReportTm(mainTm, backTm);
        EXPECT_EQ(mainTm, 5);
        EXPECT_EQ(backTm, 6);
    });
}

TEST_F(LiveHeartReportFork, TheChildChangesNothing) {
    heartbeat.unmark();
    InForkedChild([this] {
        const std::string before = held();
        heartbeat.updateliveStatus(false);
        heartbeat.updatePushStatus(2);
        heartbeat.updatemicStatus(true);
        heartbeat.updateMicPushStatus(3);
        heartbeat.updateMixStreamStatus(4);
        EXPECT_EQ(held(), before);
        heartbeat.updateLiveID("child");
        heartbeat.updateLiveBusinessInfo(5, 6);
        EXPECT_EQ(held(), before);
        heartbeat.updateLiveStreamInfo("child", 1, 2, 3, 4);
        EXPECT_EQ(held(), before);
        heartbeat.updateMicInfo(1, 2, "child", 3, 4, 5, 6, 7, "child", 8);
        EXPECT_EQ(held(), before);
        heartbeat.updateMixStreamInfo("child", 1, 2, 3, 4);
        heartbeat.updateMixMode(9);
        EXPECT_EQ(held(), before);
        heartbeat.updateDataState(true);
        EXPECT_EQ(held(), before);
        const OpenReport other;
        heartbeat = other;
        EXPECT_EQ(held(), before);
    });
}

TEST_F(LiveHeartReportFork, TheChildSendsNothingAndStartsAndStopsNothing) {
    fakes::FakeMsgCenter::events();
    const int threads = fakes::ThreadsCreated();
    InForkedChild([this, threads] {
        EXPECT_FALSE(heartbeat.sendComand(1, "child's"));
        EXPECT_FALSE(heartbeat.sendComand());
        EXPECT_FALSE(reportMain(0, false));
        EXPECT_EQ(commandsHeld(), 1u);
        EXPECT_EQ(heartbeat.start(), 0);
        EXPECT_FALSE(heartbeat.startBackUp());
        EXPECT_FALSE(heartbeat.stop());
        OpenReport own;
        EXPECT_EQ(own.start(), 0);
        EXPECT_FALSE(own.startBackUp());
        EXPECT_EQ(main.sendAttempts(kHeartCmd) + main.sendAttempts(kCommonCmd), 0);
        EXPECT_EQ(fakes::ThreadsCreated(), threads);
        EXPECT_EQ(fakes::FakeMsgCenter::events(), std::vector<std::string>());
    });
}

TEST_F(LiveHeartReportFork, ALoopThatTheChildEntersEndsAtOnce) {
    ASSERT_TRUE(heartbeat.m_bRun);
    InForkedChild([this] {
        heartbeat.run();
        EXPECT_EQ(main.sendAttempts(kHeartCmd), 0);
    });
}

}  // namespace
