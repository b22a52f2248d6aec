#include "heartbeat/LiveHeartReportManager.h"

#include "message_center/CMsgCenterFactory.h"
#include "unit/heartbeat/HeartbeatFixture.h"

namespace {

using namespace heartbeat_test;
using fakes::FakeMsgCenter;

constexpr int kUntouched = 77;

struct LiveHeartReportManagerTest : testing::Test {
    void SetUp() override {
        SetLogSink([](void*, int, const char*) {}, nullptr);
    }
    void TearDown() override {
        manager().stopLiveheart();
        SetLogSink(nullptr, nullptr);
    }

    LiveHeartReportManager& manager() { return *LiveHeartReportManager::GetInstance(); }
    int start(const std::string& config) { return manager().startLiveheart(config, mode); }
    bool isRunning() { return FakeMsgCenter::main().hasSender(kHeartCmd); }
    void startFactory() {
        ASSERT_EQ(Bas::CMsgCenterFactory::Inst()->Start(R"({"gatewayDns":{"main":["m:1"],"backup":["b:1"]}})",
                                                        Bas::HeartBaseConfig()),
                  1);
    }

    int mode = kUntouched;
};

TEST_F(LiveHeartReportManagerTest, AnEmptyConfigurationStartsNothing) {
    EXPECT_EQ(start(""), 0);
    EXPECT_EQ(mode, kUntouched);
    EXPECT_FALSE(isRunning());
}

TEST_F(LiveHeartReportManagerTest, AnEmptyObjectStartsTheHeartbeat) {
    EXPECT_EQ(start("{}"), 1);
    EXPECT_EQ(start("{}"), 2);
    EXPECT_EQ(mode, kUntouched);
    EXPECT_TRUE(isRunning());
}

TEST_F(LiveHeartReportManagerTest, NullCountsAsAnEmptyObject) {
    EXPECT_EQ(start("null"), 1);
    EXPECT_EQ(mode, kUntouched);
    EXPECT_TRUE(isRunning());
}

TEST_F(LiveHeartReportManagerTest, ModeOneStartsTheHeartbeatAndIsWritten) {
    EXPECT_EQ(start(R"({"heartbeatMode":1,"other":[]})"), 1);
    EXPECT_EQ(mode, 1);
    mode = kUntouched;
    EXPECT_EQ(start(R"({"heartbeatMode":1})"), 2);
    EXPECT_EQ(mode, 1);
}

TEST_F(LiveHeartReportManagerTest, ModeZeroStopsARunningHeartbeat) {
    ASSERT_EQ(start("{}"), 1);
    FakeMsgCenter::main().connect(kHeartCmd);
    EXPECT_EQ(start(R"({"heartbeatMode":0})"), 2);
    EXPECT_EQ(mode, 0);
    EXPECT_FALSE(isRunning());
    EXPECT_GE(FakeMsgCenter::main().sent(kHeartCmd).size(), 1u);
}

TEST_F(LiveHeartReportManagerTest, ModeZeroOnANeverStartedHeartbeatIsTheSame) {
    EXPECT_EQ(start(R"({"heartbeatMode":0})"), 2);
    EXPECT_EQ(mode, 0);
    EXPECT_FALSE(isRunning());
}

TEST_F(LiveHeartReportManagerTest, AnyOtherIntegerSwitchesTheHeartbeatOff) {
    for (const int other : {2, -1, INT32_MAX, INT32_MIN}) {
        ASSERT_EQ(start("{}"), 1);
        EXPECT_EQ(start(R"({"heartbeatMode":)" + std::to_string(other) + "}"), 2);
        EXPECT_EQ(mode, other);
        EXPECT_FALSE(isRunning());
    }
}

TEST_F(LiveHeartReportManagerTest, AModeGivenAsAStringStartsTheHeartbeat) {
    EXPECT_EQ(start(R"({"heartbeatMode":"1"})"), 1);
    EXPECT_EQ(mode, kUntouched);
}

TEST_F(LiveHeartReportManagerTest, AModeGivenAsAWholeRealCountsAsAnInteger) {
    EXPECT_EQ(start(R"({"heartbeatMode":1.0})"), 1);
    EXPECT_EQ(mode, 1);
    EXPECT_TRUE(isRunning());
    EXPECT_EQ(start(R"({"heartbeatMode":0.0})"), 2);
    EXPECT_EQ(mode, 0);
    EXPECT_FALSE(isRunning());
}

TEST_F(LiveHeartReportManagerTest, AModeThatIsNoThirtyTwoBitIntegerStartsTheHeartbeat) {
    for (const char* other : {"0.5", "null", "true", "[0]", "{}", "2147483648", "-2147483649", "1e300"}) {
        EXPECT_EQ(start(std::string(R"({"heartbeatMode":)") + other + "}"), 1) << other;
        EXPECT_EQ(mode, kUntouched) << other;
        manager().stopLiveheart();
    }
}

TEST_F(LiveHeartReportManagerTest, TextThatIsNoConfigurationStartsNothing) {
    for (const std::string& text :
         {std::string("no json"), std::string("{"), std::string("[]"), std::string("7"), std::string("\"x\""),
          std::string("\0", 1), std::string("\xff"), std::string(10000, '['),
          std::string(10 * 1024 * 1024, '{')}) {
        EXPECT_EQ(start(text), 0);
        EXPECT_EQ(mode, kUntouched);
        EXPECT_FALSE(isRunning());
    }
}

TEST_F(LiveHeartReportManagerTest, WithoutABackupCenterOnlyTheMainCenterIsUsed) {
    FakeMsgCenter::backup().startFails();
    startFactory();
    EXPECT_EQ(start("{}"), 1);
    EXPECT_TRUE(FakeMsgCenter::main().hasSender(kHeartCmd));
    EXPECT_TRUE(FakeMsgCenter::main().hasSender(kCommonCmd));
    EXPECT_EQ(FakeMsgCenter::backup().sendersCreated(kHeartCmd), 0);
}

TEST_F(LiveHeartReportManagerTest, WithABackupCenterAllThreeSendersAreCreated) {
    startFactory();
    EXPECT_EQ(start("{}"), 1);
    EXPECT_TRUE(FakeMsgCenter::main().hasSender(kHeartCmd));
    EXPECT_TRUE(FakeMsgCenter::main().hasSender(kCommonCmd));
    EXPECT_TRUE(FakeMsgCenter::backup().hasSender(kHeartCmd));
    EXPECT_EQ(start("{}"), 2);
    EXPECT_EQ(FakeMsgCenter::backup().sendersCreated(kHeartCmd), 1);
}

TEST_F(LiveHeartReportManagerTest, ABackupCenterThatStartsLaterIsAddedByTheNextCall) {
    EXPECT_EQ(start("{}"), 1);
    startFactory();
    EXPECT_EQ(start("{}"), 2);
    EXPECT_TRUE(FakeMsgCenter::backup().hasSender(kHeartCmd));
}

TEST_F(LiveHeartReportManagerTest, AMainSenderThatCannotBeOpenedIsAFailureWithoutABackup) {
    FakeMsgCenter::main().createSenderFails();
    startFactory();
    EXPECT_EQ(start("{}"), 0);
    EXPECT_EQ(FakeMsgCenter::backup().sendersCreated(kHeartCmd), 0);
    EXPECT_EQ(start("{}"), 2);
    EXPECT_EQ(FakeMsgCenter::backup().sendersCreated(kHeartCmd), 1);
}

TEST_F(LiveHeartReportManagerTest, StopReturnsWhatTheHeartbeatReturns) {
    EXPECT_FALSE(manager().stopLiveheart());
    start("{}");
    FakeMsgCenter::main().connect(kHeartCmd);
    EXPECT_TRUE(manager().stopLiveheart());
    EXPECT_FALSE(manager().stopLiveheart());
}

TEST_F(LiveHeartReportManagerTest, ACopyWorksOnTheSameHeartbeat) {
    LiveHeartReportManager copy(manager());
    copy = manager();
    EXPECT_EQ(copy.startLiveheart("{}", mode), 1);
    EXPECT_EQ(start("{}"), 2);
}

}  // namespace
