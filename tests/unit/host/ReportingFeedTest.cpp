#include "host/ReportingFeed.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <map>
#include <optional>
#include <vector>

#include "base/JsonText.h"
#include "data_report/DataReportManager.h"
#include "fakes/FakeMsgCenter.h"
#include "support/Eventually.h"
#include "unit/data_report/Peers.h"

namespace host {
namespace {

constexpr int kStreamCommand = 5;

StreamIdentity Identity() {
    StreamIdentity identity;
    identity.sessionId = "sid";
    identity.version = "1.2";
    identity.deviceId = "device";
    identity.processor = "processor";
    identity.memoryMiB = 16384;
    identity.provider = 1;
    identity.applicationId = 2;
    identity.pid = 3;
    identity.userId = 4;
    identity.roomId = 5;
    identity.liveType = 6;
    identity.clarity = 7;
    identity.network = 8;
    return identity;
}

StreamFacts Facts() {
    StreamFacts facts;
    facts.encoderClass = EncoderClass::Software;
    facts.transport = Transport::Rtmp;
    facts.url = "rtmp://192.0.2.1/live/key";
    facts.serverAddress = "";
    facts.width = 640;
    facts.height = 360;
    facts.fps = 30;
    facts.videoKbps = 800;
    facts.audioKbps = 64;
    return facts;
}

class ReportingFeedTest : public testing::Test {
protected:
    ReportingFeedTest() {
        EXPECT_TRUE(data_report::DataReportManager::Instance().Init());
        m_feed.emplace("anchor", data_report::StreamTypeEnum::EventsOnly, Identity());
    }

    void Connect() { ASSERT_TRUE(m_center.connect(kStreamCommand)); }
    void Accept() { ASSERT_TRUE(m_center.serverData(kStreamCommand, R"({"type":1,"code":0})")); }

    /// The records of `type` once there are `count` of them, or after a while.
    std::vector<Json::Value> Records(int type, std::size_t count) {
        support::Eventually([&] { return RecordsNow(type).size() >= count; });
        return RecordsNow(type);
    }
    std::vector<Json::Value> RecordsNow(int type) {
        std::vector<Json::Value> records;
        for (const fakes::SentMessage& message : m_center.sent(kStreamCommand)) {
            Json::Value head;
            Json::Value body;
            EXPECT_TRUE(ParseJson(message.head, head) && ParseJson(message.body, body));
            if (head["type"] == type) records.push_back(body);
        }
        return records;
    }
    /// True when nothing more than `count` records of `type` has come by the time another record has.
    bool NoMoreThan(std::size_t count, int type) {
        Json::Value head;
        head["type"] = ++m_marker;
        data_report::DataReportManager::Instance().SendStreamReport(Json::Value(), head);
        return Records(m_marker, 1).size() == 1 && RecordsNow(type).size() <= count;
    }

    fakes::FakeMsgCenter m_center = fakes::FakeMsgCenter::main();
    std::optional<ReportingFeed> m_feed;

private:
    int m_marker = 100;
};

TEST_F(ReportingFeedTest, TheStreamRecordCarriesEveryFact) {
    Connect();
    m_feed->OnPublishRequested(1000, Facts());
    m_feed->OnPublishAnswered(1250, Facts());
    m_feed->Turn(2000);
    const auto records = Records(1, 1);
    ASSERT_EQ(records.size(), 1U);
    const Json::Value& record = records[0];
    const std::map<std::string, Json::Int64> numbers{
        {"provider", 1},   {"appId", 2},           {"pid", 3},        {"uid", 4},
        {"roomId", 5},     {"liveType", 6},        {"clarity", 7},    {"network", 8},
        {"memory", 16384}, {"codec", 1},           {"encodeType", 1}, {"protocol", 2},
        {"width", 640},    {"height", 360},        {"vBitrate", 800}, {"fps", 30},
        {"aBitrate", 64},  {"startTime", 1250},    {"endTime", 0},    {"requestTime", 1000},
        {"t", 1000},       {"responseTime", 1250}, {"state", 1},      {"code", 0}};
    for (const auto& [name, value] : numbers)
        EXPECT_EQ(record[name].asInt64(), value) << name;
    const std::map<std::string, std::string> texts{
        {"sid", "sid"},       {"ver", "1.2"},   {"devId", "device"},   {"cpu", "processor"},
        {"url", Facts().url}, {"serverIp", ""}, {"streamId", "anchor"}};
    for (const auto& [name, value] : texts)
        EXPECT_EQ(record[name].asString(), value) << name;
}

TEST_F(ReportingFeedTest, TheStreamRecordWaitsForTheConnectionAndGoesOutOnce) {
    m_feed->OnPublishRequested(1000, Facts());
    m_feed->OnPublishAnswered(1250, Facts());
    m_feed->Turn(1300);
    Connect();
    EXPECT_TRUE(NoMoreThan(0, 1));
    m_feed->Turn(1400);
    m_feed->Turn(1500);
    EXPECT_EQ(Records(1, 1).size(), 1U);
    EXPECT_TRUE(NoMoreThan(1, 1));
}

TEST_F(ReportingFeedTest, TheFirstFrameRecordGivesTheServerTimeToAcceptTheStream) {
    Connect();
    m_feed->OnPublishRequested(1000, Facts());
    m_feed->OnPublishAnswered(1250, Facts());
    m_feed->Turn(1300);
    ASSERT_EQ(Records(1, 1).size(), 1U);
    Accept();
    m_feed->OnFirstPacketSent(1400);
    m_feed->Turn(1300 + ReportingFeed::kAcceptanceTimeMs - 1);
    EXPECT_TRUE(NoMoreThan(0, 4));
    m_feed->Turn(1300 + ReportingFeed::kAcceptanceTimeMs);
    m_feed->Turn(1300 + ReportingFeed::kAcceptanceTimeMs + 1);
    const auto records = Records(4, 1);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0]["startTime"].asInt64(), 1000);
    EXPECT_EQ(records[0]["firstFrameTime"].asInt64(), 1400);
    EXPECT_EQ(records[0]["duration"].asInt64(), 400);
    EXPECT_TRUE(NoMoreThan(1, 4));
}

TEST_F(ReportingFeedTest, AStreamThatNeverBeganIsReportedWithItsCode) {
    Connect();
    m_feed->OnPublishRequested(1000, Facts());
    m_feed->OnEnded(1500, EndCode::PublishFailed, "refused");
    m_feed->Turn(1600);
    const auto records = Records(1, 1);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0]["state"].asInt64(), 2);
    EXPECT_EQ(records[0]["code"].asInt64(), 4);
    EXPECT_EQ(records[0]["endTime"].asInt64(), 1500);
    EXPECT_EQ(records[0]["url"].asString(), Facts().url);
    EXPECT_EQ(records[0]["responseTime"].asInt64(), 0);
    EXPECT_TRUE(m_feed->End().ended);
    EXPECT_EQ(m_feed->End().reason, "refused");
}

TEST_F(ReportingFeedTest, AStreamThatWasStoppedBeforeItBeganIsNotReported) {
    Connect();
    m_feed->OnEnded(1500, EndCode::Stopped, "");
    m_feed->Turn(1600);
    EXPECT_TRUE(NoMoreThan(0, 1));
}

TEST_F(ReportingFeedTest, AfterItsEndNothingIsReported) {
    Connect();
    m_feed.reset();
    data_report::DataReportManager::Instance().ReportEventData(
        "anchor", data_report::EventTypeEnum::StreamStart, Json::Value());
    EXPECT_TRUE(NoMoreThan(0, 1));
}

TEST(ReportingFeedCounters, FramesBecomeTheSamplesOfTheQualityRecord) {
    data_report::DataReportManagerTestPeer manager{data_report::DataReportManager::Instance()};
    manager.enableWithoutThreads();
    ReportingFeed feed("anchor", data_report::StreamTypeEnum::Sampled, Identity());
    const auto repeat = [](int count, const auto& action) {
        for (int i = 0; i < count; ++i)
            action();
    };
    repeat(50, [&] { feed.OnCaptured(MediaKind::Video); });
    repeat(45, [&] { feed.OnEncoded(MediaKind::Video, 1000); });
    repeat(40, [&] { feed.OnSent(MediaKind::Video, 2000); });
    repeat(35, [&] { feed.OnCaptured(MediaKind::Audio); });
    repeat(30, [&] { feed.OnEncoded(MediaKind::Audio, 500); });
    repeat(25, [&] { feed.OnSent(MediaKind::Audio, 700); });
    repeat(3, [&] { feed.OnLost(MediaKind::Video); });
    feed.OnLost(MediaKind::Audio);
    EXPECT_EQ(feed.FramesLost(), 4);
    data_report::StreamQualityReportTestPeer report{*manager.report("anchor")};
    report.collect();
    const Json::Value record = report.qualityRecord();
    EXPECT_EQ(record["lostFrames"].asInt(), 4);
    const std::map<std::string, int> expected{
        {"vcFps", 10}, {"veFps", 9},      {"vsFps", 8},       {"acFps", 7},      {"aeFps", 6},
        {"asFps", 5},  {"veBitrate", 72}, {"vsBitrate", 128}, {"aeBitrate", 24}, {"asBitrate", 28}};
    for (const auto& [name, value] : expected)
        EXPECT_EQ(record["streams"][0][name].asInt(), value) << name;
}

}  // namespace
}  // namespace host
