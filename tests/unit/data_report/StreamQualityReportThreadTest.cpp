#include <chrono>
#include <optional>

#include "fakes/CapturingLog.h"
#include "unit/data_report/StreamUnderTest.h"

namespace data_report {
namespace {

using std::chrono::steady_clock;

class StreamTiming : public StreamUnderTest {};
class UnsampledStreamTiming : public StreamUnderTest, public ::testing::WithParamInterface<int> {
protected:
    UnsampledStreamTiming() : StreamUnderTest(static_cast<StreamTypeEnum>(GetParam())) {}
};
class Acceptance : public EventsOnlyStreamUnderTest {};

fakes::HostReadingsScript OutOfMemory() {
    fakes::HostReadingsScript script;
    script.outOfMemory = true;
    return script;
}

TEST_F(StreamTiming, TicksBeforeTheAcceptanceAreIgnoredEntirely) {
    tick(4);
    EXPECT_EQ(m_peer.elapsedSec(), 0U);
    EXPECT_EQ(m_peer.lastTickMs(), 0U);
    Accept(m_report);
    tick(4);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(0));
    tick(1);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(1));
}

TEST_F(StreamTiming, QualityRecordsAreSentAtMultiplesOfSixtySecondsAndEmptyTheQueues) {
    Accept(m_report);
    for (unsigned order = 1; order <= 3; ++order) {
        tick(59);
        EXPECT_EQ(m_peer.queueSizes(), queuesOf(11));
        EXPECT_TRUE(m_manager.takeQueued().empty());
        tick(1);
        EXPECT_EQ(m_peer.queueSizes(), queuesOf(0));
        const auto queued = m_manager.takeQueued();
        ASSERT_EQ(queued.size(), 1U);
        const Json::Value& record = queued[0].record;
        EXPECT_EQ(record["order"].asUInt(), order);
        EXPECT_EQ(record["t"].asUInt64(), m_nowMs);
        EXPECT_EQ(record["streams"].size(), 12U);
        EXPECT_EQ(record["devices"].size(), 12U);
        EXPECT_EQ(queued[0].head["event"].asInt(), 2);
        EXPECT_EQ(queued[0].head["type"].asInt(), 2);
        EXPECT_TRUE(queued[0].head["mid"].isString());
    }
}

TEST_F(StreamTiming, ASampleThatMemoryIsTooShortForIsDroppedWholeAndTheNextOneIsTaken) {
    const fakes::CapturingLog log;
    Accept(m_report);
    tick(5);
    fakes::SetHostReadings(OutOfMemory());
    tick(5);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(1));
    EXPECT_EQ(log.countContaining("out of memory: a sample was dropped"), 1);
    fakes::SetHostReadings({});
    tick(5);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(2));
    tick(45);
    ASSERT_EQ(m_manager.takeQueued().size(), 1U);
}

TEST_F(StreamTiming, ARecordThatCannotBeBuiltIsDroppedWithItsSamplesAndTheNextOneIsSent) {
    const fakes::CapturingLog log;
    Accept(m_report);
    tick(59);
    m_peer.dropLastStreamSample();
    m_peer.dropLastStreamSample();
    tick(1);
    EXPECT_TRUE(m_manager.takeQueued().empty());
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(0));
    EXPECT_EQ(log.countContaining("a quality record was dropped"), 1);
    tick(60);
    EXPECT_EQ(m_manager.takeQueued().size(), 1U);
}

TEST_F(StreamTiming, SamplesSpanOneRecordOnly) {
    Accept(m_report);
    m_data->AddData(DataTypeEnum::VideoFramesSent, 150);
    tick(60);
    tick(60);
    const auto queued = m_manager.takeQueued();
    ASSERT_EQ(queued.size(), 2U);
    EXPECT_EQ(queued[0].record["streams"][0]["vsFps"].asUInt(), 30U);
    EXPECT_EQ(queued[1].record["streams"][0]["vsFps"].asUInt(), 0U);
}

TEST_F(StreamTiming, APeriodOfTwoSecondsCollectsEveryTen) {
    Accept(m_report);
    tick(30, 2);
    const auto queued = m_manager.takeQueued();
    ASSERT_EQ(queued.size(), 1U);
    EXPECT_EQ(queued[0].record["streams"].size(), 6U);
}

TEST_F(StreamTiming, APeriodOfSevenSecondsCollectsEveryThirtyFiveAndSendsAfterFourHundredTwenty) {
    Accept(m_report);
    tick(59, 7);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(11));
    EXPECT_TRUE(m_manager.takeQueued().empty());
    tick(1, 7);
    EXPECT_EQ(m_manager.takeQueued().size(), 1U);
}

TEST_F(StreamTiming, TheQueuesAreEmptiedEvenWhenTheRecordIsNotSent) {
    Accept(m_report);
    tick(59);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(11));
    m_manager.disable();
    tick(1);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(0));
    EXPECT_TRUE(m_manager.takeQueued().empty());
}

// 0 is the one type that is sampled; a host may pass any number.
INSTANTIATE_TEST_SUITE_P(Types, UnsampledStreamTiming, ::testing::Values(1, 7, -1));

TEST_P(UnsampledStreamTiming, ItNotesTheTickButNeitherCollectsNorSendsNorHasAThread) {
    EXPECT_FALSE(m_peer.hasThread());
    Accept(m_report);
    EXPECT_TRUE(m_report.IsEnabled());
    tick(60);
    EXPECT_EQ(m_peer.lastTickMs(), m_nowMs);
    EXPECT_EQ(m_peer.elapsedSec(), 60U);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(0));
    EXPECT_EQ(fakes::ProcessCpuReadings().size(), 1U) << "more than the one of the construction";
    EXPECT_TRUE(m_manager.takeQueued().empty());
}

TEST_F(Acceptance, OnlyTypeOneWithCodeZeroEnables) {
    for (const char* packet :
         {R"({"type":1,"code":5})", R"({"type":2,"code":0})", R"({"code":0})", "{}", "", "null", "[]",
          "[1,0]", "1", "\"type\"", "{", "not json", R"({"type":"1","code":0})", R"({"type":{},"code":0})",
          R"({"type":1,"code":[0]})", R"({"type":1e300,"code":0})", R"({"type":4294967297,"code":0})"}) {
        receive(packet);
        EXPECT_FALSE(m_report.IsEnabled()) << packet;
    }
    receive(R"({"type":1,"code":0})");
    EXPECT_TRUE(m_report.IsEnabled());
}

TEST_F(Acceptance, AMissingCodeReadsAsZero) {
    receive(R"({"type":1})");
    EXPECT_TRUE(m_report.IsEnabled());
}

TEST_F(Acceptance, IsNeverTakenBack) {
    Accept(m_report);
    receive(R"({"type":1,"code":5})");
    EXPECT_TRUE(m_report.IsEnabled());
}

TEST_F(Acceptance, IsReadUpToTheFirstZeroByte) {
    const std::string zeroWithin("{\"type\":1,\"code\":0,\"text\":\"\0\"}", 30);
    Json::Value root;
    ASSERT_TRUE(ParseJson(zeroWithin, root)) << "all of it would be an acceptance";
    receive(zeroWithin);
    EXPECT_FALSE(m_report.IsEnabled());
    receive(std::string("{\"type\":1,\"code\":0}\0garbage", 27));
    EXPECT_TRUE(m_report.IsEnabled());
}

TEST_F(Acceptance, AnEmptyOrMissingPacketIsNotEvenLogged) {
    const fakes::CapturingLog log;
    m_report.OnDisponseData(0, nullptr, 5);
    m_report.OnDisponseData(0, reinterpret_cast<const unsigned char*>("x"), 0);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Acceptance, EveryPacketIsLogged) {
    const fakes::CapturingLog log;
    receive("anything");
    EXPECT_EQ(log.count("[StreamQualityReport] OnDisponseData data:anything"), 1);
    EXPECT_EQ(log.lines().at(0).level, 2);
}

TEST_F(Acceptance, HugeAndDeeplyNestedPacketsAreIgnored) {
    receive(std::string(kHuge, 'x'));
    receive(std::string(kHuge, '['));
    receive(std::string(10000, '[') + std::string(10000, ']'));
    receive("{\"type\":" + std::string(10000, '[') + std::string(10000, ']') + "}");
    receive(std::string(kHuge, '\0'));
    receive(std::string("\xff\xfe\x80", 3));
    EXPECT_FALSE(m_report.IsEnabled());
}

TEST_F(Acceptance, AHugePacketStillAccepts) {
    receive("{\"type\":1,\"code\":0,\"more\":\"" + std::string(kHuge, 'x') + "\"}");
    EXPECT_TRUE(m_report.IsEnabled());
}

class Ping : public ::testing::Test {
protected:
    void start(const std::string& server, fakes::HostReadingsScript script = {}) {
        fakes::SetHostReadings(script);
        m_data = std::make_shared<StreamQulityData>("id", StreamTypeEnum::Sampled);
        m_data->SetString(StringDataTypeEnum::ServerIp, server);
        m_begun = steady_clock::now();
        m_report.emplace("id", StreamTypeEnum::Sampled, m_data);
    }

    std::uint64_t rttMs() { return StreamQualityReportTestPeer{*m_report}.rttMs(); }
    steady_clock::duration sinceStart() const { return steady_clock::now() - m_begun; }

    std::shared_ptr<StreamQulityData> m_data;
    std::optional<StreamQualityReport> m_report;
    steady_clock::time_point m_begun;
};

TEST_F(Ping, AsksTheServerThreeSecondsAfterTheStart) {
    fakes::HostReadingsScript script;
    script.rttMs = 149;
    start("198.51.100.7", script);
    EXPECT_EQ(rttMs(), 3000U);
    ASSERT_TRUE(Eventually([&] { return rttMs() == 149; }));
    EXPECT_GE(sinceStart(), std::chrono::seconds(3));
    EXPECT_EQ(fakes::PingedHosts(), std::vector<std::string>{"198.51.100.7"});
}

TEST_F(Ping, WithoutAnAnswerTheTimeIsThreeSeconds) {
    fakes::HostReadingsScript script;
    script.pingAnswers = false;
    start("silent", script);
    StreamQualityReportTestPeer{*m_report}.setRttMs(1);
    ASSERT_TRUE(Eventually([&] { return rttMs() == 3000; }));
    EXPECT_EQ(fakes::PingedHosts().size(), 1U);
}

TEST_F(Ping, WithoutAnAnswerTheTimeThatThePingLeftIsKept) {
    fakes::HostReadingsScript script;
    script.pingAnswers = false;
    script.writesRttWhenUnanswered = true;
    script.rttMs = 777;
    start("silent", script);
    EXPECT_TRUE(Eventually([&] { return rttMs() == 777; }));
}

TEST_F(Ping, EachPingComesThreeSecondsAfterThePreviousOneEnded) {
    fakes::HostReadingsScript script;
    script.pingTakesMs = 500;
    start("slow", script);
    ASSERT_TRUE(Eventually([] { return fakes::PingedHosts().size() == 2; }));
    EXPECT_GE(sinceStart(), std::chrono::milliseconds(6500));
}

TEST_F(Ping, OneThatMemoryIsTooShortForIsDroppedAndTheNextOneComes) {
    start("short");
    fakes::SetHostReadings(OutOfMemory());
    ASSERT_TRUE(Eventually([] { return fakes::PingedHosts().size() == 1; }));
    fakes::HostReadingsScript script;
    script.rttMs = 99;
    fakes::SetHostReadings(script);
    EXPECT_TRUE(Eventually([&] { return rttMs() == 99; }));
}

TEST_F(Ping, AnEmptyServerAddressIsNeverPinged) {
    start("");
    StreamQualityReportTestPeer{*m_report}.setRttMs(1);
    ASSERT_TRUE(Eventually([&] { return rttMs() == 3000; }));
    EXPECT_TRUE(fakes::PingedHosts().empty());
}

TEST_F(Ping, DestroyingAReportThatPingsWaitsForThatPingOnly) {
    fakes::HostReadingsScript script;
    script.pingTakesMs = 500;
    start("slow", script);
    ASSERT_TRUE(Eventually([] { return fakes::PingedHosts().size() == 1; }));
    const auto asked = steady_clock::now();
    m_report.reset();
    EXPECT_LT(steady_clock::now() - asked, std::chrono::milliseconds(2500));
    EXPECT_EQ(fakes::PingedHosts().size(), 1U);
}

TEST_F(Ping, DestroyingAReportBetweenTwoPingsNeverWaitsForTheNext) {
    for (int i = 0; i < 500; ++i) {
        start("server");
        const auto asked = steady_clock::now();
        m_report.reset();
        ASSERT_LT(steady_clock::now() - asked, std::chrono::milliseconds(2500)) << i;
    }
    EXPECT_TRUE(fakes::PingedHosts().empty());
}

}  // namespace
}  // namespace data_report
