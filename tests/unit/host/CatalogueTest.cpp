#include "host/Catalogue.h"

#include <gtest/gtest.h>

#include "base/JsonText.h"
#include "data_report/DataReportManager.h"
#include "fakes/CapturingLog.h"
#include "fakes/FakeMsgCenter.h"
#include "heartbeat/LiveHeartReport.h"
#include "heartbeat/LiveHeartReportManager.h"
#include "platform/Kernel.h"
#include "session/CLiveCommonInfo.h"
#include "session/QoUser.h"

namespace host {
namespace {

using fakes::FakeMsgCenter;

struct CatalogueTest : testing::Test {
    ~CatalogueTest() override { LiveHeartReportManager::GetInstance()->stopLiveheart(); }

    void Run(const std::string& script) {
        const Actions actions = Catalogue({[this] { ++connects; }, [this] { ++disconnects; }});
        for (const Step& step : ParseScript("script", script, actions))
            step.run();
    }
    static LiveHeartReportData State() { return LiveHeartReport::GetInstance()->GetLiveHeartReportData(); }

    fakes::CapturingLog log;
    int connects = 0;
    int disconnects = 0;
};

TEST_F(CatalogueTest, TheAnchorsFacts) {
    Run("0 session s-1\n0 business 5 6\n0 stream show 7 1920 1080 2\n0 live on\n");
    EXPECT_EQ(State().sessionId, "s-1");
    EXPECT_EQ(State().videoAppId, 5);
    EXPECT_EQ(State().business, 6);
    EXPECT_EQ(State().streamName, "show");
    EXPECT_EQ(State().sid, 7);
    EXPECT_EQ(State().width, 1920);
    EXPECT_EQ(State().height, 1080);
    EXPECT_EQ(State().codec, 2);
    EXPECT_EQ(State().pushStatus, 2);
    EXPECT_EQ(State().liveStatus, 1);
    Run("0 push 3\n0 live off\n");
    EXPECT_EQ(State().pushStatus, 3);
    EXPECT_EQ(State().liveStatus, 2);
}

TEST_F(CatalogueTest, TheCoHostsFacts) {
    Run("0 co-host 1 2 guest 3 640 360 4 5 channel 6\n0 co-host-link on\n0 co-host-push 7\n");
    EXPECT_EQ(State().micVideoAppId, 1);
    EXPECT_EQ(State().micBusiness, 2);
    EXPECT_EQ(State().micStreamName, "guest");
    EXPECT_EQ(State().micSid, 3);
    EXPECT_EQ(State().micWidth, 640);
    EXPECT_EQ(State().micHeight, 360);
    EXPECT_EQ(State().micCodec, 4);
    EXPECT_EQ(State().role, 5);
    EXPECT_EQ(State().channelId, "channel");
    EXPECT_EQ(State().mixMode, 6);
    EXPECT_EQ(State().micStatus, 1);
    EXPECT_EQ(State().micPushStatus, 7);
}

TEST_F(CatalogueTest, TheMix) {
    Run("0 mix both 1920 1080 9 4\n0 mix-status 3\n0 mix-mode 2\n");
    EXPECT_EQ(State().mixStreamName, "both");
    EXPECT_EQ(State().mixWidth, 1920);
    EXPECT_EQ(State().mixHeight, 1080);
    EXPECT_EQ(State().mixSid, 9);
    EXPECT_EQ(State().mixCodec, 4);
    EXPECT_EQ(State().mixStatus, 3);
    EXPECT_EQ(State().mixMode, 2);
    EXPECT_TRUE(CLiveCommonInfo::GetInstance()->GetIsClientMix());
}

TEST_F(CatalogueTest, TheSessionsFacts) {
    Run("0 user u-1 4\n0 talk on 8\n0 layout side by side\n");
    EXPECT_EQ(QoUser::GetInstance()->GetBreloId(), "u-1");
    EXPECT_EQ(QoUser::GetInstance()->GetTagRoomType(), 4);
    EXPECT_TRUE(CLiveCommonInfo::GetInstance()->IsTalkLiving());
    EXPECT_EQ(CLiveCommonInfo::GetInstance()->GetSdkId(), 8);
    EXPECT_EQ(CLiveCommonInfo::GetInstance()->GetLayoutType(), "side by side");
}

TEST_F(CatalogueTest, HeartbeatCommandsAndConnections) {
    Run("0 heartbeat on\n0 command 3 {\"a\":1}\n0 full\n");
    EXPECT_TRUE(FakeMsgCenter::main().hasSender(2));
    EXPECT_TRUE(FakeMsgCenter::main().hasSender(4));
    Run("0 heartbeat off\n0 disconnect\n0 connect\n");
    EXPECT_FALSE(FakeMsgCenter::main().hasSender(2));
    EXPECT_EQ(connects, 1);
    EXPECT_EQ(disconnects, 1);
}

TEST_F(CatalogueTest, AStreamIsReported) {
    ASSERT_TRUE(data_report::DataReportManager::Instance().Init());
    FakeMsgCenter::main().connect(5);
    Run("0 report-start show 0\n0 report-data show 21 25\n0 report-text show 6 my show\n0 report-event show "
        "1\n");
    for (int i = 0; i < 500 && FakeMsgCenter::main().sent(5).empty(); ++i)
        Sleep(10);
    ASSERT_EQ(FakeMsgCenter::main().sent(5).size(), 1U);
    Json::Value record;
    ASSERT_TRUE(ParseJson(FakeMsgCenter::main().sent(5)[0].body, record));
    EXPECT_EQ(record["fps"], 25);
    EXPECT_EQ(record["streamId"], "my show");
    Run("0 report-stop show\n0 report-event show 1\n");
    EXPECT_EQ(FakeMsgCenter::main().sent(5).size(), 1U);
}

TEST_F(CatalogueTest, TheDefaultScriptRuns) {
    Run(DefaultScript(640, 360));
    EXPECT_EQ(State().liveStatus, 1);
    EXPECT_EQ(State().sessionId, "demo-session");
    EXPECT_EQ(State().width, 640) << "as the pictures are encoded";
    EXPECT_EQ(State().height, 360);
    EXPECT_EQ(State().mixWidth, 640);
}

}  // namespace
}  // namespace host
