#include <json/value.h>

#include <limits>
#include <thread>

#include "fakes/CapturingLog.h"
#include "unit/data_report/ManagerUnderTest.h"

namespace data_report {
namespace {

class Front : public ManagerUnderTest {};
class Events : public ManagerUnderTest {};

Json::Value eventWith(const char* key, const char* value) {
    Json::Value event;
    event[key] = value;
    return event;
}

TEST_F(Front, BeforeInitEveryOperationDoesNothing) {
    const fakes::CapturingLog log;
    startSampled("a");
    manager.AddReportData("a", DataTypeEnum::VideoFramesSent, 1);
    manager.AddReportStringData("a", StringDataTypeEnum::Url, "x");
    manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
    manager.ReportStop("a");
    EXPECT_TRUE(peer.ids().empty());
    EXPECT_FALSE(send("x"));
    EXPECT_FALSE(manager.IsConnected());
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(fakes::FakeMsgCenter::centersMade(), 0);
}

TEST_F(Front, ASecondInitChangesNothing) {
    start();
    startEventsOnly("a");
    EXPECT_TRUE(manager.Init());
    EXPECT_EQ(center.sendersCreated(kStreamCommand), 1);
    EXPECT_EQ(peer.ids(), std::vector<std::string>{"a"});
}

TEST_F(Front, AFailedInitCanBeTriedAgain) {
    center.createSenderFails();
    EXPECT_FALSE(manager.Init());
    startEventsOnly("a");
    EXPECT_TRUE(peer.ids().empty());
    EXPECT_FALSE(send("x"));
    center.createSenderFails(false);
    EXPECT_TRUE(manager.Init());
    EXPECT_TRUE(send("x"));
}

TEST_F(Front, InitFromManyThreadsStartsOnce) {
    atOnce(8, [this](int) { EXPECT_TRUE(manager.Init()); });
    EXPECT_EQ(center.sendersCreated(kStreamCommand), 1);
}

TEST_F(Front, TheSenderIsOpenedOnTheMainCenter) {
    start();
    EXPECT_TRUE(center.hasSender(kStreamCommand));
    EXPECT_FALSE(fakes::FakeMsgCenter::backup().hasSender(kStreamCommand));
    EXPECT_TRUE(center.starts().empty());
}

TEST_F(Front, StartingARunningStreamKeepsItsReportItsDataAndItsType) {
    const fakes::CapturingLog log;
    start();
    startSampled("a");
    const auto data = peer.data("a");
    const auto report = peer.report("a");
    startEventsOnly("a");
    EXPECT_EQ(peer.data("a"), data);
    EXPECT_EQ(peer.report("a"), report);
    EXPECT_EQ(data->m_streamType, StreamTypeEnum::Sampled);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Front, CountersAddUpFromZeroToElevenAndSettingsKeepTheLatest) {
    start();
    startEventsOnly("a");
    for (const int type : {5, 11, 12, 42}) {
        manager.AddReportData("a", dataType(type), 10);
        manager.AddReportData("a", dataType(type), 20);
    }
    const auto data = peer.data("a");
    EXPECT_EQ(valueOf(*data, 5), 30);
    EXPECT_EQ(valueOf(*data, 11), 30);
    EXPECT_EQ(valueOf(*data, 12), 20);
    for (int type = 13; type < 42; ++type)
        EXPECT_EQ(valueOf(*data, type), 0) << type;
}

TEST_F(Front, TextSixIsStoredAndTextSevenIsIgnored) {
    const fakes::CapturingLog log;
    start();
    startEventsOnly("a");
    manager.AddReportStringData("a", stringType(6), "six");
    manager.AddReportStringData("a", stringType(7), "seven");
    manager.AddReportStringData("a", stringType(-1), "minus one");
    EXPECT_EQ(textOf(*peer.data("a"), 6), "six");
    for (int type = 0; type < 6; ++type)
        EXPECT_EQ(textOf(*peer.data("a"), type), "") << type;
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Front, AnUnknownStreamIsIgnoredWithoutALine) {
    const fakes::CapturingLog log;
    start();
    startEventsOnly("a");
    manager.ReportStop("b");
    manager.AddReportData("b", DataTypeEnum::VideoFramesSent, 1);
    manager.AddReportStringData("b", StringDataTypeEnum::Url, "x");
    manager.ReportEventData("b", EventTypeEnum::StreamStart, Json::Value());
    EXPECT_EQ(peer.ids(), std::vector<std::string>{"a"});
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Front, AStoppedStreamIsUnknown) {
    start();
    startEventsOnly("a");
    const auto data = peer.data("a");
    manager.ReportStop("a");
    manager.AddReportData("a", DataTypeEnum::VideoFramesSent, 1);
    EXPECT_EQ(valueOf(*data, 2), 0);
    EXPECT_TRUE(peer.ids().empty());
}

TEST_F(Front, AStoppedStreamLivesUntilItsLastHolderLetsGo) {
    start();
    startEventsOnly("a");
    std::weak_ptr<StreamQualityReport> report = peer.report("a");
    {
        const auto holder = report.lock();
        manager.ReportStop("a");
        EXPECT_FALSE(report.expired());
    }
    EXPECT_TRUE(Eventually([&report] { return report.expired(); }));
}

TEST_F(Front, AStreamStartedAgainStartsFromNothing) {
    start();
    startEventsOnly("a");
    manager.AddReportData("a", DataTypeEnum::UserId, 7);
    manager.ReportStop("a");
    startEventsOnly("a");
    EXPECT_EQ(valueOf(*peer.data("a"), 32), 0);
}

TEST_F(Front, StreamsAreOrderedByTheirBytes) {
    start();
    for (const char* id : {"b", "\xff", "a", "B", ""})
        startEventsOnly(id);
    EXPECT_EQ(peer.ids(), (std::vector<std::string>{"", "B", "a", "b", "\xff"}));
}

TEST_F(Front, IdsOfAnyBytesAndLengthNameAStream) {
    start();
    for (const std::string& id :
         {std::string(), std::string("a\0b", 3), std::string("\xff\xfe\x80"), std::string(kHuge, 'x')}) {
        startEventsOnly(id);
        manager.AddReportData(id, DataTypeEnum::UserId, 7);
        EXPECT_EQ(valueOf(*peer.data(id), 32), 7);
        manager.ReportStop(id);
        EXPECT_FALSE(peer.has(id));
    }
}

TEST_F(Front, StoppingAStreamWhosePingHangsDoesNotHoldUpTheOthers) {
    fakes::HostReadingsScript script;
    script.pingTakesMs = 1500;
    fakes::setHostReadings(script);
    start();
    startSampled("slow");
    manager.AddReportStringData("slow", StringDataTypeEnum::ServerIp, "server");
    startEventsOnly("other");
    ASSERT_TRUE(Eventually([] { return !fakes::pingedHosts().empty(); }));
    std::atomic<bool> stopped{false};
    std::thread stopping([&] {
        manager.ReportStop("slow");
        stopped = true;
    });
    ASSERT_TRUE(Eventually([this] { return !peer.has("slow"); }));
    manager.AddReportData("other", DataTypeEnum::UserId, 7);
    EXPECT_FALSE(stopped);
    stopping.join();
}

TEST_F(Events, OnlyTheStreamStartIsSentBeforeTheAcceptance) {
    startConnected();
    startEventsOnly("a");
    for (const int type : {0, 1, 2, 3, 4, 5, -1})
        manager.ReportEventData("a", eventType(type), eventWith("type", std::to_string(type).c_str()));
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record["type"].asString(), "1");
    EXPECT_EQ(records[0].head["type"].asInt(), 1);
    EXPECT_EQ(records[0].head["event"].asInt(), 2);
    EXPECT_EQ(records[0].head.size(), 3U);
}

TEST_F(Events, AHostRecordIsTheEventUnderAHeadOfItsOwn) {
    startConnected();
    startEventsOnly("a");
    acceptStreams();
    manager.ReportEventData("a", EventTypeEnum::HostRecord, eventWith("mine", "value"));
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record, eventWith("mine", "value"));
    EXPECT_EQ(records[0].head["type"], Json::Value(3));
    EXPECT_EQ(records[0].head["event"], Json::Value(2));
    EXPECT_TRUE(records[0].head["mid"].isString());
    EXPECT_EQ(records[0].head.size(), 3U);
}

TEST_F(Events, AFirstFrameIsSentWithItsRecord) {
    startConnected();
    startEventsOnly("a");
    acceptStreams();
    manager.AddReportData("a", DataTypeEnum::RequestTime, 100);
    manager.AddReportData("a", DataTypeEnum::FirstFrameArrivalTime, 350);
    manager.ReportEventData("a", EventTypeEnum::FirstFrame, eventWith("mine", "kept"));
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record["duration"].asInt64(), 250);
    EXPECT_EQ(records[0].record["mine"].asString(), "kept");
    EXPECT_EQ(records[0].head["type"].asInt(), 4);
}

TEST_F(Events, AnyOtherEventIsSentUnchangedWithAMidAlone) {
    startConnected();
    startEventsOnly("a");
    acceptStreams();
    for (const int type : {0, 2, 5, -1})
        manager.ReportEventData("a", eventType(type), type);
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 4U);
    for (const SentRecord& each : records) {
        EXPECT_TRUE(each.record.isInt());
        EXPECT_EQ(each.head.getMemberNames(), std::vector<std::string>{"mid"});
    }
}

TEST_F(Events, ANullEventIsAnEmptyOne) {
    startConnected();
    startEventsOnly("a");
    manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record["devName"].asString(), "windows");
}

TEST_F(Events, AnEventThatHoldsNoKeysIsRefusedWithOneLine) {
    startConnected();
    startEventsOnly("a");
    acceptStreams();
    Json::Value array(Json::arrayValue);
    array.append(1);
    for (const Json::Value& event : {Json::Value("text"), Json::Value(1), Json::Value(true), array})
        for (const EventTypeEnum type : {EventTypeEnum::StreamStart, EventTypeEnum::FirstFrame}) {
            const fakes::CapturingLog log;
            manager.ReportEventData("a", type, event);
            EXPECT_EQ(log.countContaining("[DataReportManager] ReportEventData event not sent: "), 1);
        }
    EXPECT_TRUE(sentSoFar().empty());
}

Json::Value nested(int levels) {
    Json::Value value;
    Json::Value* innermost = &value;
    for (int i = 1; i < levels; ++i)
        innermost = &(*innermost)["k"];
    return value;
}

TEST_F(Events, ARecordOrHeadThatNestsTooDeepToBeReadIsRefusedWithOneLine) {
    startConnected();
    const fakes::CapturingLog log;
    Json::Value head;
    EXPECT_FALSE(manager.SendStreamReport(nested(1001), head));
    EXPECT_FALSE(manager.SendStreamReport(nested(10000), head));
    EXPECT_TRUE(head.isNull());
    Json::Value deepHead = nested(1001);
    EXPECT_FALSE(manager.SendStreamReport(Json::Value(), deepHead));
    EXPECT_FALSE(deepHead.isMember("mid"));
    EXPECT_EQ(log.countContaining("SendStreamReport not queued: JSON nested deeper than 1000 levels"), 3);
    EXPECT_TRUE(manager.SendStreamReport(nested(1000), head));
    EXPECT_EQ(sentSoFar().size(), 1U);
}

TEST_F(Events, AnEventThatNestsTooDeepToBeReadIsRefusedWithOneLine) {
    startConnected();
    startEventsOnly("a");
    acceptStreams();
    for (const int levels : {1001, 10000}) {
        const fakes::CapturingLog log;
        manager.ReportEventData("a", EventTypeEnum::StreamStart, nested(levels));
        EXPECT_EQ(log.countContaining("event not sent: JSON nested deeper than 1000 levels"), 1);
    }
    manager.ReportEventData("a", EventTypeEnum::HostRecord, nested(1000));
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record, nested(1000));
}

TEST_F(Events, AnEventOfAnyKindIsSentAsAHostRecord) {
    startConnected();
    startEventsOnly("a");
    acceptStreams();
    const std::vector<Json::Value> events = {Json::Value(), Json::Value("text"),
                                             Json::Value(Json::arrayValue), eventWith("mid", "mine")};
    for (const Json::Value& event : events)
        manager.ReportEventData("a", EventTypeEnum::HostRecord, event);
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), events.size());
    for (std::size_t i = 0; i < events.size(); ++i)
        EXPECT_EQ(records[i].record, events[i]);
}

TEST_F(Events, TextsThatAreNotUtf8ArriveAsReplacementCharacters) {
    startConnected();
    startEventsOnly("a");
    manager.AddReportStringData("a", StringDataTypeEnum::Url, std::string("\xc3\xa4 \xff", 4));
    manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
    ASSERT_EQ(sentSoFar().size(), 1U);
    const std::string body = center.sent(kStreamCommand)[0].body;
    EXPECT_NE(body.find("\"url\":\"\\u00e4 \\ufffd\""), std::string::npos) << body;
    for (const char byte : body)
        EXPECT_GE(byte, 0);
}

TEST_F(Events, ValuesAtBothEndsOf64BitsCross) {
    startConnected();
    startEventsOnly("a");
    manager.AddReportData("a", DataTypeEnum::UserId, std::numeric_limits<std::int64_t>::max());
    manager.AddReportData("a", DataTypeEnum::RoomId, std::numeric_limits<std::int64_t>::min());
    manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record["uid"].asInt64(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(records[0].record["roomId"].asInt64(), std::numeric_limits<std::int64_t>::min());
}

TEST_F(Events, AHugeEventCrosses) {
    startConnected();
    startEventsOnly("a");
    const std::string huge(kHuge, 'x');
    manager.ReportEventData("a", EventTypeEnum::StreamStart, eventWith("mine", huge.c_str()));
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record["mine"].asString(), huge);
}

TEST_F(Events, AcceptanceReachesEveryStreamAndNoneThatComesLater) {
    start();
    startSampled("a");
    startEventsOnly("b");
    acceptStreams();
    startEventsOnly("c");
    EXPECT_TRUE(peer.report("a")->IsEnabled());
    EXPECT_TRUE(peer.report("b")->IsEnabled());
    EXPECT_FALSE(peer.report("c")->IsEnabled());
}

TEST_F(Events, DataPacketsBeforeAnyStreamAreHarmless) {
    const fakes::CapturingLog log;
    start();
    for (const std::string& packet :
         {std::string(R"({"type":1,"code":0})"), std::string(), std::string("[[["), std::string(kHuge, 'x')})
        ASSERT_TRUE(center.serverData(kStreamCommand, packet));
    EXPECT_EQ(log.lines().size(), 4U);
    startEventsOnly("a");
    EXPECT_FALSE(peer.report("a")->IsEnabled());
}

}  // namespace
}  // namespace data_report
