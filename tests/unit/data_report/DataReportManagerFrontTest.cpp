#include <json/value.h>

#include <limits>
#include <thread>

#include "fakes/CapturingLog.h"
#include "unit/data_report/ManagerUnderTest.h"

namespace data_report {
namespace {

class Front : public ManagerUnderTest {
protected:
    /// A sampled stream whose first ping runs, and takes so long.
    void startPinging(const char* id, int pingTakesMs) {
        fakes::HostReadingsScript script;
        script.pingTakesMs = pingTakesMs;
        fakes::SetHostReadings(script);
        start();
        startSampled(id);
        m_manager.AddReportStringData(id, StringDataTypeEnum::ServerIp, "server");
        ASSERT_TRUE(Eventually([] { return fakes::PingsUnderWay() == 1; }));
    }
};
class Events : public ManagerUnderTest {};

Json::Value EventWith(const char* key, const char* value) {
    Json::Value event;
    event[key] = value;
    return event;
}

TEST_F(Front, BeforeInitEveryOperationDoesNothing) {
    const fakes::CapturingLog log;
    startSampled("a");
    m_manager.AddReportData("a", DataTypeEnum::VideoFramesSent, 1);
    m_manager.AddReportStringData("a", StringDataTypeEnum::Url, "x");
    m_manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
    m_manager.ReportStop("a");
    EXPECT_TRUE(m_peer.ids().empty());
    EXPECT_FALSE(send("x"));
    EXPECT_FALSE(m_manager.IsConnected());
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(fakes::FakeMsgCenter::centersMade(), 0);
}

TEST_F(Front, ASecondInitChangesNothing) {
    start();
    startEventsOnly("a");
    EXPECT_TRUE(m_manager.Init());
    EXPECT_EQ(m_center.sendersCreated(kStreamCommand), 1);
    EXPECT_EQ(m_peer.ids(), std::vector<std::string>{"a"});
}

TEST_F(Front, AFailedInitCanBeTriedAgain) {
    m_center.createSenderFails();
    EXPECT_FALSE(m_manager.Init());
    startEventsOnly("a");
    EXPECT_TRUE(m_peer.ids().empty());
    EXPECT_FALSE(send("x"));
    m_center.createSenderFails(false);
    EXPECT_TRUE(m_manager.Init());
    EXPECT_TRUE(send("x"));
}

TEST_F(Front, InitFromManyThreadsStartsOnce) {
    AtOnce(8, [this](int) { EXPECT_TRUE(m_manager.Init()); });
    EXPECT_EQ(m_center.sendersCreated(kStreamCommand), 1);
}

TEST_F(Front, TheSenderIsOpenedOnTheMainCenter) {
    start();
    EXPECT_TRUE(m_center.hasSender(kStreamCommand));
    EXPECT_FALSE(fakes::FakeMsgCenter::backup().hasSender(kStreamCommand));
    EXPECT_TRUE(m_center.starts().empty());
}

TEST_F(Front, StartingARunningStreamKeepsItsReportItsDataAndItsType) {
    const fakes::CapturingLog log;
    start();
    startSampled("a");
    const auto data = m_peer.data("a");
    const auto report = m_peer.report("a");
    startEventsOnly("a");
    EXPECT_EQ(m_peer.data("a"), data);
    EXPECT_EQ(m_peer.report("a"), report);
    EXPECT_EQ(data->m_streamType, StreamTypeEnum::Sampled);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Front, CountersAddUpFromZeroToElevenAndSettingsKeepTheLatest) {
    start();
    startEventsOnly("a");
    for (const int type : {5, 11, 12, 42}) {
        m_manager.AddReportData("a", DataType(type), 10);
        m_manager.AddReportData("a", DataType(type), 20);
    }
    const auto data = m_peer.data("a");
    EXPECT_EQ(ValueOf(*data, 5), 30);
    EXPECT_EQ(ValueOf(*data, 11), 30);
    EXPECT_EQ(ValueOf(*data, 12), 20);
    for (int type = 13; type < 42; ++type)
        EXPECT_EQ(ValueOf(*data, type), 0) << type;
}

TEST_F(Front, TextSixIsStoredAndTextSevenIsIgnored) {
    const fakes::CapturingLog log;
    start();
    startEventsOnly("a");
    m_manager.AddReportStringData("a", StringType(6), "six");
    m_manager.AddReportStringData("a", StringType(7), "seven");
    m_manager.AddReportStringData("a", StringType(-1), "minus one");
    EXPECT_EQ(TextOf(*m_peer.data("a"), 6), "six");
    for (int type = 0; type < 6; ++type)
        EXPECT_EQ(TextOf(*m_peer.data("a"), type), "") << type;
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Front, AnUnknownStreamIsIgnoredWithoutALine) {
    const fakes::CapturingLog log;
    start();
    startEventsOnly("a");
    m_manager.ReportStop("b");
    m_manager.AddReportData("b", DataTypeEnum::VideoFramesSent, 1);
    m_manager.AddReportStringData("b", StringDataTypeEnum::Url, "x");
    m_manager.ReportEventData("b", EventTypeEnum::StreamStart, Json::Value());
    EXPECT_EQ(m_peer.ids(), std::vector<std::string>{"a"});
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Front, AStoppedStreamIsUnknown) {
    start();
    startEventsOnly("a");
    const auto data = m_peer.data("a");
    m_manager.ReportStop("a");
    m_manager.AddReportData("a", DataTypeEnum::VideoFramesSent, 1);
    EXPECT_EQ(ValueOf(*data, 2), 0);
    EXPECT_TRUE(m_peer.ids().empty());
}

TEST_F(Front, AStoppedStreamLivesUntilItsLastHolderLetsGo) {
    start();
    startEventsOnly("a");
    std::weak_ptr<StreamQualityReport> report = m_peer.report("a");
    {
        const auto holder = report.lock();
        m_manager.ReportStop("a");
        EXPECT_FALSE(report.expired());
    }
    EXPECT_TRUE(Eventually([&report] { return report.expired(); }));
}

TEST_F(Front, AStreamStartedAgainStartsFromNothing) {
    start();
    startEventsOnly("a");
    m_manager.AddReportData("a", DataTypeEnum::UserId, 7);
    m_manager.ReportStop("a");
    startEventsOnly("a");
    EXPECT_EQ(ValueOf(*m_peer.data("a"), 32), 0);
}

TEST_F(Front, StreamsAreOrderedByTheirBytes) {
    start();
    for (const char* id : {"b", "\xff", "a", "B", ""})
        startEventsOnly(id);
    EXPECT_EQ(m_peer.ids(), (std::vector<std::string>{"", "B", "a", "b", "\xff"}));
}

TEST_F(Front, IdsOfAnyBytesAndLengthNameAStream) {
    start();
    for (const std::string& id :
         {std::string(), std::string("a\0b", 3), std::string("\xff\xfe\x80"), std::string(kHuge, 'x')}) {
        startEventsOnly(id);
        m_manager.AddReportData(id, DataTypeEnum::UserId, 7);
        EXPECT_EQ(ValueOf(*m_peer.data(id), 32), 7);
        m_manager.ReportStop(id);
        EXPECT_FALSE(m_peer.has(id));
    }
}

TEST_F(Front, StoppingAStreamWhosePingHangsDoesNotHoldUpTheOthers) {
    startPinging("slow", 1500);
    startEventsOnly("other");
    std::atomic<bool> stopped{false};
    std::thread stopping([&] {
        m_manager.ReportStop("slow");
        stopped = true;
    });
    ASSERT_TRUE(Eventually([this] { return !m_peer.has("slow"); }));
    m_manager.AddReportData("other", DataTypeEnum::UserId, 7);
    EXPECT_FALSE(stopped);
    stopping.join();
}

TEST_F(Front, WhoeverStillFeedsAStoppedStreamNeverWaitsForItsPing) {
    startPinging("a", 500);
    const auto heldByAFeed = m_peer.report("a");
    m_manager.ReportStop("a");
    EXPECT_EQ(fakes::PingsUnderWay(), 0) << "who lets the report go would wait for it";
}

TEST_F(Events, OnlyTheStreamStartIsSentBeforeTheAcceptance) {
    startConnected();
    startEventsOnly("a");
    for (const int type : {0, 1, 2, 3, 4, 5, -1})
        m_manager.ReportEventData("a", EventType(type), EventWith("type", std::to_string(type).c_str()));
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
    m_manager.ReportEventData("a", EventTypeEnum::HostRecord, EventWith("mine", "value"));
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record, EventWith("mine", "value"));
    EXPECT_EQ(records[0].head["type"], Json::Value(3));
    EXPECT_EQ(records[0].head["event"], Json::Value(2));
    EXPECT_TRUE(records[0].head["mid"].isString());
    EXPECT_EQ(records[0].head.size(), 3U);
}

TEST_F(Events, AFirstFrameIsSentWithItsRecord) {
    startConnected();
    startEventsOnly("a");
    acceptStreams();
    m_manager.AddReportData("a", DataTypeEnum::RequestTime, 100);
    m_manager.AddReportData("a", DataTypeEnum::FirstFrameArrivalTime, 350);
    m_manager.ReportEventData("a", EventTypeEnum::FirstFrame, EventWith("mine", "kept"));
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
        m_manager.ReportEventData("a", EventType(type), type);
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
    m_manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
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
            m_manager.ReportEventData("a", type, event);
            EXPECT_EQ(log.countContaining("[DataReportManager] ReportEventData event not sent: "), 1);
        }
    EXPECT_TRUE(sentSoFar().empty());
}

Json::Value Nested(int levels) {
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
    EXPECT_FALSE(m_manager.SendStreamReport(Nested(1001), head));
    EXPECT_FALSE(m_manager.SendStreamReport(Nested(10000), head));
    EXPECT_TRUE(head.isNull());
    Json::Value deepHead = Nested(1001);
    EXPECT_FALSE(m_manager.SendStreamReport(Json::Value(), deepHead));
    EXPECT_FALSE(deepHead.isMember("mid"));
    EXPECT_EQ(log.countContaining("SendStreamReport not queued: JSON nested deeper than 1000 levels"), 3);
    EXPECT_TRUE(m_manager.SendStreamReport(Nested(1000), head));
    EXPECT_EQ(sentSoFar().size(), 1U);
}

TEST_F(Events, AnEventThatNestsTooDeepToBeReadIsRefusedWithOneLine) {
    startConnected();
    startEventsOnly("a");
    acceptStreams();
    for (const int levels : {1001, 10000}) {
        const fakes::CapturingLog log;
        m_manager.ReportEventData("a", EventTypeEnum::StreamStart, Nested(levels));
        EXPECT_EQ(log.countContaining("event not sent: JSON nested deeper than 1000 levels"), 1);
    }
    m_manager.ReportEventData("a", EventTypeEnum::HostRecord, Nested(1000));
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record, Nested(1000));
}

TEST_F(Events, AnEventOfAnyKindIsSentAsAHostRecord) {
    startConnected();
    startEventsOnly("a");
    acceptStreams();
    const std::vector<Json::Value> events = {Json::Value(), Json::Value("text"),
                                             Json::Value(Json::arrayValue), EventWith("mid", "mine")};
    for (const Json::Value& event : events)
        m_manager.ReportEventData("a", EventTypeEnum::HostRecord, event);
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), events.size());
    for (std::size_t i = 0; i < events.size(); ++i)
        EXPECT_EQ(records[i].record, events[i]);
}

TEST_F(Events, TextsThatAreNotUtf8ArriveAsReplacementCharacters) {
    startConnected();
    startEventsOnly("a");
    m_manager.AddReportStringData("a", StringDataTypeEnum::Url, std::string("\xc3\xa4 \xff", 4));
    m_manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
    ASSERT_EQ(sentSoFar().size(), 1U);
    const std::string body = m_center.sent(kStreamCommand)[0].body;
    EXPECT_NE(body.find("\"url\":\"\\u00e4 \\ufffd\""), std::string::npos) << body;
    for (const char byte : body)
        EXPECT_GE(byte, 0);
}

TEST_F(Events, ValuesAtBothEndsOf64BitsCross) {
    startConnected();
    startEventsOnly("a");
    m_manager.AddReportData("a", DataTypeEnum::UserId, std::numeric_limits<std::int64_t>::max());
    m_manager.AddReportData("a", DataTypeEnum::RoomId, std::numeric_limits<std::int64_t>::min());
    m_manager.ReportEventData("a", EventTypeEnum::StreamStart, Json::Value());
    const auto records = sentSoFar();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].record["uid"].asInt64(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(records[0].record["roomId"].asInt64(), std::numeric_limits<std::int64_t>::min());
}

TEST_F(Events, AHugeEventCrosses) {
    startConnected();
    startEventsOnly("a");
    const std::string huge(kHuge, 'x');
    m_manager.ReportEventData("a", EventTypeEnum::StreamStart, EventWith("mine", huge.c_str()));
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
    EXPECT_TRUE(m_peer.report("a")->IsEnabled());
    EXPECT_TRUE(m_peer.report("b")->IsEnabled());
    EXPECT_FALSE(m_peer.report("c")->IsEnabled());
}

TEST_F(Events, DataPacketsBeforeAnyStreamAreHarmless) {
    const fakes::CapturingLog log;
    start();
    for (const std::string& packet :
         {std::string(R"({"type":1,"code":0})"), std::string(), std::string("[[["), std::string(kHuge, 'x')})
        ASSERT_TRUE(m_center.serverData(kStreamCommand, packet));
    EXPECT_EQ(log.lines().size(), 4U);
    startEventsOnly("a");
    EXPECT_FALSE(m_peer.report("a")->IsEnabled());
}

}  // namespace
}  // namespace data_report
