#include <climits>
#include <cstdint>
#include <set>

#include "fakes/CapturingLog.h"
#include "fakes/FailingJson.h"
#include "platform/Kernel.h"
#include "unit/heartbeat/HeartbeatFixture.h"

namespace {

using namespace heartbeat_test;
using fakes::CapturingLog;
using fakes::FakeMsgCenter;

constexpr std::int64_t kNow = 1700000000000;

struct LiveHeartReportMessage : Undriven {
    void SetUp() override {
        Undriven::SetUp();
        connectAll();
    }
    std::int64_t lastReportTm() {
        std::int64_t mainTm = 0;
        std::int64_t backTm = 0;
        heartbeat.GetLastReportTm(mainTm, backTm);
        return mainTm;
    }
    std::set<std::string> keysOf(const Json::Value& value) {
        const auto names = value.getMemberNames();
        return {names.begin(), names.end()};
    }
    std::vector<std::string> sentCommands() {
        std::vector<std::string> texts;
        for (const auto& message : main.sent(kCommonCmd))
            texts.push_back(Parsed(message.body)["data"].asString());
        return texts;
    }
};

const std::set<std::string> kBareFull{"ts", "order", "type", "sessionId", "liveStatus", "micStatus"};
const std::set<std::string> kKeepAlive{"ts", "order", "type"};

TEST_F(LiveHeartReportMessage, TheFirstReportGoesAtOnceAndLaterOnesKeepThePeriod) {
    EXPECT_TRUE(reportMain(kNow));
    EXPECT_FALSE(reportMain(kNow));
    EXPECT_FALSE(reportMain(kNow + 2999));
    EXPECT_EQ(lastReportTm(), kNow);
    EXPECT_TRUE(reportMain(kNow + 3000));
    EXPECT_EQ(lastReportTm(), kNow + 3000);
    EXPECT_FALSE(reportMain(kNow + 5999));
    EXPECT_TRUE(reportMain(kNow + 6001));
    EXPECT_EQ(sentOnMain().size(), 3u);
}

TEST_F(LiveHeartReportMessage, TheSendersKeepTheirPeriodsApart) {
    EXPECT_TRUE(reportMain(kNow));
    EXPECT_TRUE(heartbeat.report(heartbeat.m_backSender, kNow + 1000, true));
    EXPECT_TRUE(reportMain(kNow + 3000));
    EXPECT_FALSE(heartbeat.report(heartbeat.m_backSender, kNow + 3000, true));
    EXPECT_EQ(backup.sent(kHeartCmd).size(), 1u);
}

TEST_F(LiveHeartReportMessage, AClockThatGoesBackSkipsATurnAndRestartsThePeriod) {
    ASSERT_TRUE(reportMain(kNow));
    EXPECT_FALSE(reportMain(kNow - 5000));
    EXPECT_EQ(lastReportTm(), kNow - 5000);
    EXPECT_FALSE(reportMain(kNow - 2001));
    EXPECT_TRUE(reportMain(kNow - 2000));
}

TEST_F(LiveHeartReportMessage, APeriodMayBeginAtTimeZero) {
    connectAll();
    EXPECT_TRUE(reportMain(0));
    EXPECT_FALSE(reportMain(2999));
    EXPECT_TRUE(reportMain(3000));
}

TEST_F(LiveHeartReportMessage, NoClockReadingOverflows) {
    ASSERT_TRUE(reportMain(INT64_MAX));
    EXPECT_FALSE(reportMain(INT64_MIN));
    EXPECT_EQ(lastReportTm(), INT64_MIN);
    EXPECT_FALSE(reportMain(INT64_MAX));  // a time before 1970 is no time to go by
    EXPECT_EQ(lastReportTm(), INT64_MAX);
    EXPECT_TRUE(reportMain(INT64_MIN, false));
    EXPECT_EQ(lastOnMain()["ts"].asInt64(), INT64_MIN);
}

TEST_F(LiveHeartReportMessage, AFinalReportSkipsThePeriod) {
    EXPECT_TRUE(reportMain(kNow));
    EXPECT_TRUE(reportMain(kNow, false));
    EXPECT_EQ(lastReportTm(), kNow);
}

TEST_F(LiveHeartReportMessage, AMissingOrDisconnectedSenderReportsNothing) {
    const CapturingLog log;
    EXPECT_FALSE(heartbeat.report(nullptr, kNow, true));
    main.disconnect(kHeartCmd);
    const auto lines = log.lines().size();
    EXPECT_FALSE(reportMain(kNow));
    EXPECT_FALSE(reportMain(kNow, false));
    EXPECT_EQ(lastReportTm(), -1);
    EXPECT_EQ(log.lines().size(), lines);
    EXPECT_EQ(main.sendAttempts(kHeartCmd), 0);
}

TEST_F(LiveHeartReportMessage, ASenderThatWasNeverCreatedDropsTheMessageAndKeepsTheMark) {
    MsgSenderStatus unopened;
    unopened.m_bConnected = true;
    unopened.m_bDataChanged = true;
    EXPECT_FALSE(heartbeat.report(&unopened, kNow, false));
    EXPECT_TRUE(unopened.m_bDataChanged);
    EXPECT_EQ(unopened.m_lastReportTm, -1);
}

TEST_F(LiveHeartReportMessage, TheFirstReportAfterConnectingIsFullAndTheNextAKeepAlive) {
    heartbeat.updateLiveID("session");
    ASSERT_TRUE(reportMain(kNow));
    EXPECT_EQ(lastOnMain()["type"].asInt(), 1);
    EXPECT_EQ(keysOf(lastOnMain()), kBareFull);
    EXPECT_EQ(lastOnMain()["sessionId"].asString(), "session");
    ASSERT_TRUE(reportMain(kNow + 3000));
    EXPECT_EQ(lastOnMain()["type"].asInt(), 2);
    EXPECT_EQ(keysOf(lastOnMain()), kKeepAlive);
}

TEST_F(LiveHeartReportMessage, TimeAndOrderAreWrittenAsWholeNumbers) {
    const unsigned long long before = GetTickCount64() / 100;
    ASSERT_TRUE(reportMain(kNow + 3000));
    const Json::Value message = lastOnMain();
    EXPECT_EQ(message["ts"].asInt64(), kNow + 3000);
    EXPECT_GE(message["order"].asUInt64(), before);
    EXPECT_LE(message["order"].asUInt64(), GetTickCount64() / 100);
    EXPECT_NE(sentOnMain().back().body.find("\"ts\":1700000003000,"), std::string::npos);
    EXPECT_EQ(sentOnMain().back().body.find('.'), std::string::npos);
}

TEST_F(LiveHeartReportMessage, ABodyIsTheCompactTextWithoutAHead) {
    ASSERT_TRUE(reportMain(kNow));
    const fakes::SentMessage message = sentOnMain().back();
    EXPECT_FALSE(message.hasHead);
    EXPECT_EQ(message.body, WriteCompactJson(Parsed(message.body)));
    EXPECT_EQ(message.body.back(), '\n');
}

TEST_F(LiveHeartReportMessage, LiveInfoNeedsAPushStatus) {
    heartbeat.updateliveStatus(true);
    EXPECT_EQ(keysOf(fullReport()), kBareFull);
    heartbeat.updateLiveBusinessInfo(1, 2);
    heartbeat.updateLiveStreamInfo("name", 3, 4, 5, 6);
    const Json::Value info = fullReport()["liveInfo"];
    EXPECT_EQ(info, Parsed(R"({"videoAppId":1,"business":2,"streamName":"name","sid":3,"width":4,"height":5,
                               "codec":6,"pushStatus":2})"));
    heartbeat.updatePushStatus(-1);
    EXPECT_EQ(fullReport()["liveInfo"]["pushStatus"].asInt(), -1);
    heartbeat.updateliveStatus(false);
    EXPECT_EQ(keysOf(fullReport()), kBareFull);
}

TEST_F(LiveHeartReportMessage, MicInfoDoesNotNeedALiveAnchor) {
    heartbeat.updatemicStatus(true);
    heartbeat.updateLiveStreamInfo("live", 1, 1, 1, 1);
    heartbeat.updateMicInfo(1, 2, "mic", 3, 4, 5, 6, 7, "channel", 8);
    heartbeat.updateMicPushStatus(9);
    heartbeat.updateMixStreamInfo("mix", 10, 11, 12, 13);
    heartbeat.updateMixStreamStatus(14);
    const Json::Value message = fullReport();
    EXPECT_FALSE(message.isMember("liveInfo"));
    EXPECT_EQ(message["liveStatus"].asInt(), 2);
    EXPECT_EQ(message["micStatus"].asInt(), 1);
    EXPECT_EQ(message["micInfo"],
              Parsed(R"({"videoAppId":1,"business":2,"streamName":"mic","sid":3,"micWidth":4,"micHeight":5,
                         "micCodec":6,"micPushStatus":9,"role":7,"channelId":"channel","mixStreamName":"mix",
                         "mixWidth":10,"mixHeight":11,"mixStatus":14,"mixSid":12,"mixCodec":13,"mixMode":8})"));
}

TEST_F(LiveHeartReportMessage, AKeepAliveCarriesNoSessionId) {
    heartbeat.updateLiveID("session");
    ASSERT_TRUE(reportMain(kNow));
    ASSERT_TRUE(reportMain(kNow, false));
    EXPECT_EQ(sentOnMain().back().body.find("session"), std::string::npos);
}

TEST_F(LiveHeartReportMessage, NumbersReachTheWireUnchanged) {
    heartbeat.updateliveStatus(true);
    heartbeat.updateLiveStreamInfo("", INT32_MIN, INT32_MAX, -1, 0);
    const Json::Value info = fullReport()["liveInfo"];
    EXPECT_EQ(info["sid"].asInt(), INT32_MIN);
    EXPECT_EQ(info["width"].asInt(), INT32_MAX);
    EXPECT_EQ(info["height"].asInt(), -1);
}

TEST_F(LiveHeartReportMessage, AnyTextOfTheHostGivesOneLineOfValidJson) {
    const std::string huge(10 * 1024 * 1024, 'x');
    for (const std::string& text :
         {std::string(), std::string("\0\x01\n\"\\", 5), std::string("\xff\xc0\x80\xed"),
          std::string("\xf0\x9f\x98\x80"), std::string(R"({"a":[1]})"), huge}) {
        heartbeat.updateLiveID(text);
        const Json::Value message = fullReport();
        EXPECT_TRUE(message.isObject());
        EXPECT_EQ(sentOnMain().back().body.find('\n'), sentOnMain().back().body.size() - 1);
        EXPECT_EQ(sentOnMain().back().body.find('\0'), std::string::npos);
        main.forgetSent(kHeartCmd);
    }
}

TEST_F(LiveHeartReportMessage, AFailedSendKeepsTheReportFullAndTakesItsTurn) {
    main.sendFails(kHeartCmd);
    EXPECT_FALSE(reportMain(kNow));
    EXPECT_EQ(lastReportTm(), kNow);
    EXPECT_TRUE(heartbeat.marked(heartbeat.m_mainSender));
    EXPECT_FALSE(reportMain(kNow + 2999));
    EXPECT_EQ(main.sendAttempts(kHeartCmd), 1);
    EXPECT_FALSE(reportMain(kNow + 3000));
    EXPECT_EQ(main.sendAttempts(kHeartCmd), 2);
    EXPECT_EQ(lastReportTm(), kNow + 3000);
    main.sendFails(kHeartCmd, false);
    EXPECT_TRUE(reportMain(kNow + 6000));
    EXPECT_EQ(lastOnMain()["type"].asInt(), 1);
}

TEST_F(LiveHeartReportMessage, AReportThatMemoryIsTooShortForCountsAsAFailedOne) {
    main.sendThrows(kHeartCmd, 1);
    EXPECT_FALSE(reportMain(kNow));
    EXPECT_EQ(lastReportTm(), kNow);
    EXPECT_TRUE(heartbeat.marked(heartbeat.m_mainSender));
    EXPECT_TRUE(reportMain(kNow + 3000));
    EXPECT_EQ(lastOnMain()["type"].asInt(), 1);
}

// A report that could not be written has no time; one that could not be sent has.
TEST_F(LiveHeartReportMessage, AReportThatCannotBeWrittenIsDroppedAndTheNextOneIsFull) {
    heartbeat.updateLiveID("s");
    heartbeat.updateDataState(true);
    fakes::FailJsonWriting(1);
    EXPECT_FALSE(reportMain(1000, false));
    EXPECT_TRUE(sentOnMain().empty());
    EXPECT_TRUE(heartbeat.marked(heartbeat.m_mainSender));
    EXPECT_TRUE(reportMain(1000, false));
    EXPECT_EQ(lastOnMain()["sessionId"], "s");

    fakes::FailJsonWriting(1);
    EXPECT_FALSE(reportMain(2000, false));
    EXPECT_FALSE(heartbeat.marked(heartbeat.m_mainSender));
    EXPECT_TRUE(reportMain(2000, false));
    EXPECT_EQ(lastOnMain()["type"], 2);
}

TEST_F(LiveHeartReportMessage, AFailedKeepAliveStaysAKeepAlive) {
    ASSERT_TRUE(reportMain(kNow));
    main.sendFails(kHeartCmd);
    EXPECT_FALSE(reportMain(kNow + 3000));
    EXPECT_FALSE(heartbeat.marked(heartbeat.m_mainSender));
}

TEST_F(LiveHeartReportMessage, AFailureOnTheMainConnectionDoesNotTouchTheBackup) {
    main.sendFails(kHeartCmd);
    EXPECT_FALSE(reportMain(kNow));
    EXPECT_TRUE(heartbeat.report(heartbeat.m_backSender, kNow, true));
    EXPECT_EQ(Parsed(backup.sent(kHeartCmd).back().body)["type"].asInt(), 1);
}

TEST_F(LiveHeartReportMessage, AMarkThatComesWhileAReportIsUnderWaySurvivesIt) {
    // The line of a full report is written after it has left and before it is settled.
    SetLogSink(
        [](void*, int, const char* line) {
            if (std::string(line).find("msgsender:") != std::string::npos)
                FakeMsgCenter::main().serverData(kHeartCmd, R"({"type":3})");
        },
        nullptr);
    ASSERT_TRUE(reportMain(kNow));
    SetLogSink([](void*, int, const char*) {}, nullptr);
    ASSERT_TRUE(reportMain(kNow + 3000));
    EXPECT_EQ(lastOnMain()["type"].asInt(), 1);
    ASSERT_TRUE(reportMain(kNow + 6000));
    EXPECT_EQ(lastOnMain()["type"].asInt(), 2);
}

TEST_F(LiveHeartReportMessage, ADataNoticeOfTypeThreeMakesTheNextReportFull) {
    ASSERT_TRUE(reportMain(kNow));
    main.serverData(kHeartCmd, R"({"type":2})");
    main.serverData(kHeartCmd, "no json");
    ASSERT_TRUE(reportMain(kNow + 3000));
    EXPECT_EQ(lastOnMain()["type"].asInt(), 2);
    main.serverData(kHeartCmd, R"({"type":3})");
    ASSERT_TRUE(reportMain(kNow + 6000));
    EXPECT_EQ(lastOnMain()["type"].asInt(), 1);
    EXPECT_EQ(backup.sent(kHeartCmd).size(), 0u);
}

TEST_F(LiveHeartReportMessage, EveryStatusNoticeMakesTheNextReportFull) {
    ASSERT_TRUE(reportMain(kNow));
    main.callback(kHeartCmd, 0, 5, "");
    ASSERT_TRUE(reportMain(kNow + 3000));
    EXPECT_EQ(lastOnMain()["type"].asInt(), 1);
    main.disconnect(kHeartCmd);
    EXPECT_FALSE(reportMain(kNow + 6000));
    main.connect(kHeartCmd);
    ASSERT_TRUE(reportMain(kNow + 6000));
    EXPECT_EQ(lastOnMain()["type"].asInt(), 1);
}

TEST_F(LiveHeartReportMessage, AFullReportIsLoggedWithItsSender) {
    const CapturingLog log;
    ASSERT_TRUE(reportMain(kNow));
    backup.sendFails(kHeartCmd);
    EXPECT_FALSE(heartbeat.report(heartbeat.m_backSender, kNow, true));
    ASSERT_EQ(log.lines().size(), 2u);
    const auto identity = [](MsgSenderStatus* sender) {
        return std::to_string(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(sender)));
    };
    EXPECT_EQ(log.lines()[0].level, 2);
    EXPECT_EQ(log.lines()[0].text + "\n",
              "[LiveState] msgsender:" + identity(heartbeat.m_mainSender) +
                  " isMain:main sender bRet:1 reportData:" + sentOnMain().back().body);
    EXPECT_EQ(log.lines()[1].text.find("[LiveState] msgsender:" + identity(heartbeat.m_backSender) +
                                       " isMain:back sender bRet:0 reportData:{"),
              0u);
}

TEST_F(LiveHeartReportMessage, OneKeepAliveInFortyIsLogged) {
    ASSERT_TRUE(reportMain(kNow));
    const CapturingLog log;
    for (int i = 1; i < 80; ++i)
        ASSERT_TRUE(reportMain(kNow + i * 3000));
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_NE(log.lines()[0].text.find(" isMain:normal bRet:1 reportData:{"), std::string::npos);
}

TEST_F(LiveHeartReportMessage, TheReportsOfAllSendersCountTogetherForTheLog) {
    MsgSenderStatus* const senders[] = {heartbeat.m_mainSender, heartbeat.m_backSender};
    for (MsgSenderStatus* sender : senders)
        ASSERT_TRUE(heartbeat.report(sender, kNow, false));  // full ones, which are always logged
    const CapturingLog log;
    for (std::size_t n = 3; n <= 80; ++n) {
        ASSERT_TRUE(heartbeat.report(senders[n % 2], kNow, false));
        ASSERT_EQ(log.lines().size(), n / 40) << n;
    }
    EXPECT_EQ(log.countContaining(" isMain:normal "), 2);
}

TEST_F(LiveHeartReportMessage, ACommandIsOneObjectWithItsTextAsAString) {
    const std::string text = R"({"say":"hi"})";
    EXPECT_TRUE(heartbeat.sendComand(-7, text));
    EXPECT_TRUE(heartbeat.sendComand());
    const auto sent = main.sent(kCommonCmd);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_FALSE(sent[0].hasHead);
    EXPECT_EQ(sent[0].body, "{\"bizType\":-7,\"data\":\"{\\\"say\\\":\\\"hi\\\"}\"}\n");
    EXPECT_FALSE(heartbeat.sendComand());
}

TEST_F(LiveHeartReportMessage, TwentyFiveCommandsWhileDisconnectedLeaveTheLastTwentyOne) {
    main.disconnect(kCommonCmd);
    for (int i = 0; i < 25; ++i)
        EXPECT_TRUE(heartbeat.sendComand(1, std::to_string(i)));
    EXPECT_EQ(heartbeat.queued().size(), 21u);
    EXPECT_FALSE(heartbeat.sendComand());
    EXPECT_EQ(main.sendAttempts(kCommonCmd), 0);
    main.connect(kCommonCmd);
    for (std::size_t i = 1; i <= 21; ++i) {
        EXPECT_TRUE(heartbeat.sendComand());
        EXPECT_EQ(main.sent(kCommonCmd).size(), i);
    }
    EXPECT_FALSE(heartbeat.sendComand());
    std::vector<std::string> expected;
    for (int i = 4; i < 25; ++i)
        expected.push_back(std::to_string(i));
    EXPECT_EQ(sentCommands(), expected);
}

TEST_F(LiveHeartReportMessage, ACommandThatCannotBeWrittenIsRefusedAndDropsNoOther) {
    for (int i = 0; i < 21; ++i)
        ASSERT_TRUE(heartbeat.sendComand(1, std::to_string(i)));
    fakes::FailJsonWriting(1);
    EXPECT_FALSE(heartbeat.sendComand(1, "cannot be written"));
    EXPECT_EQ(heartbeat.queued().size(), 21u);
    EXPECT_EQ(Parsed(heartbeat.queued().front())["data"], "0");
    EXPECT_TRUE(heartbeat.sendComand(1, "21"));
    EXPECT_EQ(Parsed(heartbeat.queued().back())["data"], "21");
}

TEST_F(LiveHeartReportMessage, ACommandWhoseSendFailedStaysInFront) {
    heartbeat.sendComand(1, "a");
    heartbeat.sendComand(1, "b");
    main.sendFails(kCommonCmd);
    EXPECT_FALSE(heartbeat.sendComand());
    EXPECT_FALSE(heartbeat.sendComand());
    main.sendFails(kCommonCmd, false);
    EXPECT_TRUE(heartbeat.sendComand());
    EXPECT_TRUE(heartbeat.sendComand());
    EXPECT_EQ(sentCommands(), (std::vector<std::string>{"a", "b"}));
}

TEST_F(LiveHeartReportMessage, ACommandThatMemoryIsTooShortForStaysInFront) {
    heartbeat.sendComand(1, "a");
    main.sendThrows(kCommonCmd, 1);
    EXPECT_FALSE(heartbeat.sendComand());
    EXPECT_TRUE(heartbeat.sendComand());
    EXPECT_EQ(sentCommands(), (std::vector<std::string>{"a"}));
}

TEST_F(LiveHeartReportMessage, AnEmptyEntryIsLeftInPlace) {
    heartbeat.queue("");
    EXPECT_FALSE(heartbeat.sendComand());
    EXPECT_EQ(heartbeat.queued().size(), 1u);
}

TEST_F(LiveHeartReportMessage, AnyCommandTextIsQueued) {
    const std::string huge(10 * 1024 * 1024, '"');
    for (const std::string& text : {std::string(), std::string("\0a", 2), std::string("\xff"), huge}) {
        ASSERT_TRUE(heartbeat.sendComand(INT_MIN, text));
        ASSERT_TRUE(heartbeat.sendComand());
        EXPECT_TRUE(Parsed(main.sent(kCommonCmd).back().body)["data"].isString());
    }
    EXPECT_EQ(sentCommands()[1], std::string("\0a", 2));
    EXPECT_EQ(sentCommands()[2], "\xef\xbf\xbd");
    EXPECT_EQ(sentCommands()[3].size(), huge.size());
}

TEST(LiveHeartReportCommand, BeforeStartNothingIsQueued) {
    OpenReport heartbeat;
    EXPECT_FALSE(heartbeat.sendComand(1, "x"));
    EXPECT_TRUE(heartbeat.queued().empty());
    EXPECT_FALSE(heartbeat.sendComand());
}

TEST(LiveHeartReportCommand, ACommandSenderThatCouldNotBeOpenedKeepsCommandsQueued) {
    OpenReport heartbeat;
    MsgSenderStatus blocker;  // occupies the command number
    blocker.initSender(kCommonCmd, "blocker");
    heartbeat.startUndriven();
    EXPECT_TRUE(heartbeat.sendComand(1, "x"));
    FakeMsgCenter::main().connect(kCommonCmd);
    EXPECT_FALSE(heartbeat.sendComand());
    heartbeat.m_commonSender->m_bConnected = true;
    EXPECT_FALSE(heartbeat.sendComand());
    EXPECT_EQ(heartbeat.queued().size(), 1u);
}

}  // namespace
