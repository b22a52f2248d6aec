#include <functional>
#include <future>

#include "unit/heartbeat/HeartbeatFixture.h"

namespace {

using namespace heartbeat_test;

void ExpectDefaults(const LiveHeartReportData& data) {
    EXPECT_EQ(data.sessionId, "");
    EXPECT_EQ(data.liveStatus, 2);
    EXPECT_EQ(data.micStatus, 2);
    EXPECT_EQ(data.videoAppId, 0);
    EXPECT_EQ(data.business, 0);
    EXPECT_EQ(data.streamName, "");
    EXPECT_EQ(data.sid, 0);
    EXPECT_EQ(data.width, 0);
    EXPECT_EQ(data.height, 0);
    EXPECT_EQ(data.codec, 0);
    EXPECT_EQ(data.pushStatus, 0);
    EXPECT_EQ(data.micVideoAppId, 0);
    EXPECT_EQ(data.micBusiness, 0);
    EXPECT_EQ(data.micStreamName, "");
    EXPECT_EQ(data.micSid, 0);
    EXPECT_EQ(data.micWidth, 0);
    EXPECT_EQ(data.micHeight, 0);
    EXPECT_EQ(data.micCodec, 0);
    EXPECT_EQ(data.micPushStatus, 0);
    EXPECT_EQ(data.role, 0);
    EXPECT_EQ(data.channelId, "");
    EXPECT_EQ(data.mixMode, 0);
    EXPECT_EQ(data.mixStreamName, "");
    EXPECT_EQ(data.mixWidth, 0);
    EXPECT_EQ(data.mixHeight, 0);
    EXPECT_EQ(data.mixStatus, 0);
    EXPECT_EQ(data.mixSid, 0);
}

void Fill(LiveHeartReport& heartbeat) {
    heartbeat.updateLiveID("s");
    heartbeat.updateliveStatus(true);
    heartbeat.updatemicStatus(true);
    heartbeat.updateLiveBusinessInfo(1, 2);
    heartbeat.updateLiveStreamInfo("live", 3, 4, 5, 6);
    heartbeat.updatePushStatus(7);
    heartbeat.updateMicInfo(8, 9, "mic", 10, 11, 12, 13, 14, "channel", 15);
    heartbeat.updateMicPushStatus(16);
    heartbeat.updateMixStreamInfo("mix", 17, 18, 19, 20);
    heartbeat.updateMixStreamStatus(21);
}

struct LiveHeartReportState : Undriven {
    /// Whether `change` marks both senders (which it must do together).
    bool marks(const std::function<void()>& change) {
        heartbeat.unmark();
        heartbeat.m_commonSender->m_bDataChanged = false;
        change();
        EXPECT_FALSE(heartbeat.m_commonSender->m_bDataChanged);
        EXPECT_EQ(heartbeat.m_mainSender->m_bDataChanged, heartbeat.m_backSender->m_bDataChanged);
        return heartbeat.m_mainSender->m_bDataChanged;
    }
    LiveHeartReportData data() { return heartbeat.GetLiveHeartReportData(); }
};

TEST(LiveHeartReportDefaults, AFreshInstanceHasThem) {
    LiveHeartReport fresh;
    ExpectDefaults(fresh.GetLiveHeartReportData());
    EXPECT_EQ(fresh.GetLiveHeartReportData().mixCodec, 0);
    EXPECT_EQ(fresh.getSessionId(), "");
    EXPECT_FALSE(fresh.isConnecting());
    EXPECT_EQ(LiveHeartReport::GetInstance(), LiveHeartReport::GetInstance());
}

TEST(LiveHeartReportDefaults, TheSettersWorkWhileNoSenderExists) {
    LiveHeartReport fresh;
    Fill(fresh);
    fresh.updateDataState(true);
    EXPECT_EQ(fresh.GetLiveHeartReportData().mixStatus, 21);
}

TEST_F(LiveHeartReportState, EachSetterWritesItsFields) {
    Fill(heartbeat);
    const LiveHeartReportData now = data();
    EXPECT_EQ(now.sessionId, "s");
    EXPECT_EQ(heartbeat.getSessionId(), "s");
    EXPECT_EQ(now.liveStatus, 1);
    EXPECT_EQ(now.micStatus, 1);
    EXPECT_EQ(now.videoAppId, 1);
    EXPECT_EQ(now.business, 2);
    EXPECT_EQ(now.streamName, "live");
    EXPECT_EQ(now.sid, 3);
    EXPECT_EQ(now.width, 4);
    EXPECT_EQ(now.height, 5);
    EXPECT_EQ(now.codec, 6);
    EXPECT_EQ(now.pushStatus, 7);
    EXPECT_EQ(now.micVideoAppId, 8);
    EXPECT_EQ(now.micBusiness, 9);
    EXPECT_EQ(now.micStreamName, "mic");
    EXPECT_EQ(now.micSid, 10);
    EXPECT_EQ(now.micWidth, 11);
    EXPECT_EQ(now.micHeight, 12);
    EXPECT_EQ(now.micCodec, 13);
    EXPECT_EQ(now.role, 14);
    EXPECT_EQ(now.channelId, "channel");
    EXPECT_EQ(now.mixMode, 15);
    EXPECT_EQ(now.micPushStatus, 16);
    EXPECT_EQ(now.mixStreamName, "mix");
    EXPECT_EQ(now.mixWidth, 17);
    EXPECT_EQ(now.mixHeight, 18);
    EXPECT_EQ(now.mixSid, 19);
    EXPECT_EQ(now.mixCodec, 20);
    EXPECT_EQ(now.mixStatus, 21);
    heartbeat.updateMixMode(-22);
    EXPECT_EQ(data().mixMode, -22);
    heartbeat.updateliveStatus(false);
    heartbeat.updatemicStatus(false);
    EXPECT_EQ(data().liveStatus, 2);
    EXPECT_EQ(data().micStatus, 2);
}

TEST_F(LiveHeartReportState, GoingLiveMarksOnceAndTheDefaultDoesNot) {
    EXPECT_FALSE(marks([this] { heartbeat.updateliveStatus(false); }));
    EXPECT_EQ(data().liveStatus, 2);
    EXPECT_TRUE(marks([this] { heartbeat.updateliveStatus(true); }));
    EXPECT_FALSE(marks([this] { heartbeat.updateliveStatus(true); }));
    EXPECT_TRUE(marks([this] { heartbeat.updateliveStatus(false); }));
}

TEST_F(LiveHeartReportState, TheStatusSettersMarkOnlyAChange) {
    EXPECT_FALSE(marks([this] { heartbeat.updatemicStatus(false); }));
    EXPECT_TRUE(marks([this] { heartbeat.updatemicStatus(true); }));
    EXPECT_FALSE(marks([this] { heartbeat.updatemicStatus(true); }));
    EXPECT_FALSE(marks([this] { heartbeat.updatePushStatus(0); }));
    EXPECT_TRUE(marks([this] { heartbeat.updatePushStatus(INT32_MIN); }));
    EXPECT_FALSE(marks([this] { heartbeat.updatePushStatus(INT32_MIN); }));
    EXPECT_FALSE(marks([this] { heartbeat.updateMicPushStatus(0); }));
    EXPECT_TRUE(marks([this] { heartbeat.updateMicPushStatus(1); }));
    EXPECT_FALSE(marks([this] { heartbeat.updateMixStreamStatus(0); }));
    EXPECT_TRUE(marks([this] { heartbeat.updateMixStreamStatus(1); }));
}

TEST_F(LiveHeartReportState, TheInfoSettersAlwaysMark) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(marks([this] { heartbeat.updateLiveBusinessInfo(0, 0); }));
        EXPECT_TRUE(marks([this] { heartbeat.updateLiveStreamInfo("", 0, 0, 0, 0); }));
        EXPECT_TRUE(marks([this] { heartbeat.updateMicInfo(0, 0, "", 0, 0, 0, 0, 0, "", 0); }));
        EXPECT_TRUE(marks([this] { heartbeat.updateMixStreamInfo("", 0, 0, 0, 0); }));
        EXPECT_TRUE(marks([this] { heartbeat.updateMixMode(0); }));
    }
}

TEST_F(LiveHeartReportState, ANewLiveIdLeavesTheMarksAsTheyWere) {
    EXPECT_FALSE(marks([this] { heartbeat.updateLiveID("new"); }));
    heartbeat.updateDataState(true);
    heartbeat.updateLiveID("newer");
    EXPECT_TRUE(heartbeat.marked(heartbeat.m_mainSender));
    EXPECT_TRUE(heartbeat.marked(heartbeat.m_backSender));
}

TEST_F(LiveHeartReportState, LiveStreamInfoOverwritesThePushStatusWithTwo) {
    heartbeat.updatePushStatus(0);
    heartbeat.updateLiveStreamInfo("n", 1, 2, 3, 4);
    EXPECT_EQ(data().pushStatus, 2);
    heartbeat.updatePushStatus(5);
    heartbeat.updateLiveStreamInfo("n", 1, 2, 3, 4);
    EXPECT_EQ(data().pushStatus, 2);
}

TEST_F(LiveHeartReportState, MicInfoKeepsTheMicPushStatusAndSetsTheMixMode) {
    heartbeat.updateMicPushStatus(6);
    heartbeat.updateMicInfo(1, 2, "n", 3, 4, 5, 6, 7, "c", 8);
    EXPECT_EQ(data().micPushStatus, 6);
    EXPECT_EQ(data().mixMode, 8);
}

TEST_F(LiveHeartReportState, MixStreamInfoKeepsTheMixStatus) {
    heartbeat.updateMixStreamStatus(6);
    heartbeat.updateMixStreamInfo("n", 1, 2, 3, 4);
    EXPECT_EQ(data().mixStatus, 6);
}

TEST_F(LiveHeartReportState, UpdateDataStateMarksAndUnmarksBoth) {
    EXPECT_TRUE(marks([this] { heartbeat.updateDataState(true); }));
    EXPECT_FALSE(marks([this] { heartbeat.updateDataState(false); }));
}

TEST_F(LiveHeartReportState, UpdateDataStateDoesNotWaitForTheLock) {
    const qolive::CriticalSectionLock held(*heartbeat.m_lock);
    auto update = std::async(std::launch::async, [this] { heartbeat.updateDataState(true); });
    EXPECT_EQ(update.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_TRUE(heartbeat.marked(heartbeat.m_mainSender));
}

TEST_F(LiveHeartReportState, TextsAreKeptByteForByte) {
    const std::string bytes("a\0\xff", 3);
    heartbeat.updateLiveID(bytes);
    heartbeat.updateLiveStreamInfo(bytes, 0, 0, 0, 0);
    EXPECT_EQ(heartbeat.getSessionId(), bytes);
    EXPECT_EQ(data().streamName, bytes);
}

TEST(LiveHeartReportReadings, TheLastReportTimesAreLeftAloneWithoutSenders) {
    OpenReport heartbeat;
    std::int64_t mainTm = 5;
    std::int64_t backTm = 6;
    heartbeat.GetLastReportTm(mainTm, backTm);
    EXPECT_EQ(mainTm, 5);
    EXPECT_EQ(backTm, 6);
    heartbeat.startUndriven();
    heartbeat.GetLastReportTm(mainTm, backTm);
    EXPECT_EQ(mainTm, -1);
    EXPECT_EQ(backTm, 6);
    heartbeat.startBackUp();
    heartbeat.GetLastReportTm(mainTm, backTm);
    EXPECT_EQ(backTm, -1);
}

TEST_F(LiveHeartReportState, TheTimeOfTheLastReportIsThatOfEachConnection) {
    connectAll();
    ASSERT_TRUE(reportMain(7000));
    ASSERT_TRUE(heartbeat.report(heartbeat.m_backSender, 8000, true));
    std::int64_t mainTm = 0;
    std::int64_t backTm = 0;
    heartbeat.GetLastReportTm(mainTm, backTm);
    EXPECT_EQ(mainTm, 7000);
    EXPECT_EQ(backTm, 8000);
}

TEST(LiveHeartReportReadings, IsConnectingAsksTheMainThenTheBackupSender) {
    OpenReport heartbeat;
    EXPECT_FALSE(heartbeat.isConnecting());
    heartbeat.startUndriven();
    const auto main = fakes::FakeMsgCenter::main();
    const auto backup = fakes::FakeMsgCenter::backup();
    main.connect(kCommonCmd);
    EXPECT_FALSE(heartbeat.isConnecting());
    heartbeat.startBackUp();
    EXPECT_FALSE(heartbeat.isConnecting());
    backup.connect(kHeartCmd);
    EXPECT_TRUE(heartbeat.isConnecting());
    main.connect(kHeartCmd);
    backup.disconnect(kHeartCmd);
    EXPECT_TRUE(heartbeat.isConnecting());
    main.disconnect(kHeartCmd);
    EXPECT_FALSE(heartbeat.isConnecting());
}

TEST_F(LiveHeartReportState, AfterStopTheStateIsResetButForTheMixCodec) {
    Fill(heartbeat);
    heartbeat.stop();
    ExpectDefaults(data());
    EXPECT_EQ(data().mixCodec, 20);
    heartbeat.startUndriven();
    EXPECT_EQ(data().mixCodec, 20);
    heartbeat.updateMixStreamInfo("", 0, 0, 0, 1);
    EXPECT_EQ(data().mixCodec, 1);
}

TEST_F(LiveHeartReportState, ACopyIsAStoppedInstanceWithTheSameState) {
    Fill(heartbeat);
    ASSERT_TRUE(heartbeat.sendComand(1, "waiting"));
    OpenReport copy(heartbeat);
    EXPECT_EQ(copy.GetLiveHeartReportData().mixStatus, 21);
    EXPECT_EQ(copy.queued(), heartbeat.queued());
    EXPECT_EQ(copy.m_mainSender, nullptr);
    EXPECT_FALSE(copy.hasThread());
    EXPECT_FALSE(copy.m_bRun);

    OpenReport assigned;
    assigned = copy;
    EXPECT_EQ(assigned.getSessionId(), "s");
    const OpenReport& same = heartbeat;
    heartbeat = same;
    EXPECT_EQ(heartbeat.getSessionId(), "s");
    EXPECT_NE(heartbeat.m_mainSender, nullptr);
}

}  // namespace
