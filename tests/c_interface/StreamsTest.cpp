#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdint>
#include <string>

#include "base/JsonText.h"
#include "c_interface/qolive_report.h"
#include "data_report/DataReportManager.h"
#include "fakes/FakeMsgCenter.h"
#include "support/Eventually.h"

namespace {

using data_report::DataReportManager;
using fakes::FakeMsgCenter;
using fakes::SentMessage;

constexpr int kStreams = 5;

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(text, value)) << text;
    return value;
}

std::vector<SentMessage> Sent(std::size_t atLeast) {
    support::Eventually([atLeast] { return FakeMsgCenter::main().sent(kStreams).size() >= atLeast; });
    return FakeMsgCenter::main().sent(kStreams);
}

void Connect() {
    ASSERT_EQ(qolive_streams_init(), 1);
    ASSERT_TRUE(FakeMsgCenter::main().connect(kStreams));
}

void StartAcceptedStream() {
    Connect();
    ASSERT_EQ(qolive_streams_report_start("s", 1, QOLIVE_STREAM_EVENTS_ONLY), QOLIVE_DONE);
    ASSERT_TRUE(FakeMsgCenter::main().serverData(kStreams, R"({"type":1,"code":0})"));
}

std::int32_t Event(std::int32_t type, const std::string& json) {
    return qolive_streams_report_event_data("s", 1, type, json.data(), json.size());
}

std::int32_t Send(const std::string& record, const std::string& head, char* buffer, std::size_t capacity,
                  std::size_t* length) {
    return qolive_streams_send_stream_report(record.data(), record.size(), head.data(), head.size(), buffer,
                                             capacity, length);
}

TEST(CInterfaceStreams, InitCanBeTriedAgain) {
    FakeMsgCenter::main().createSenderFails();
    EXPECT_EQ(qolive_streams_init(), 0);
    FakeMsgCenter::main().createSenderFails(false);
    EXPECT_EQ(qolive_streams_init(), 1);
    EXPECT_EQ(qolive_streams_init(), 1);
    EXPECT_EQ(FakeMsgCenter::main().sendersCreated(kStreams), 2);
}

TEST(CInterfaceStreams, IsConnected) {
    EXPECT_EQ(qolive_streams_is_connected(), 0);
    Connect();
    EXPECT_EQ(qolive_streams_is_connected(), 1);
    FakeMsgCenter::main().disconnect(kStreams);
    EXPECT_EQ(qolive_streams_is_connected(), 0);
}

TEST(CInterfaceStreams, GetTickCountMsIsTheClassesClock) {
    const std::uint64_t before = DataReportManager::GetTickCountMs();
    std::uint64_t now = 0;
    EXPECT_EQ(qolive_streams_get_tick_count_ms(&now), QOLIVE_DONE);
    EXPECT_GE(now, before);
    EXPECT_LE(now, DataReportManager::GetTickCountMs());
    EXPECT_EQ(qolive_streams_get_tick_count_ms(nullptr), QOLIVE_NULL_ARGUMENT);
}

TEST(CInterfaceStreams, DataAndStringsReachTheStreamRecord) {
    StartAcceptedStream();
    EXPECT_EQ(qolive_streams_add_report_data("s", 1, QOLIVE_DATA_VIDEO_WIDTH, 1280), QOLIVE_DONE);
    EXPECT_EQ(qolive_streams_add_report_data("s", 1, QOLIVE_DATA_VIDEO_HEIGHT, -720), QOLIVE_DONE);
    EXPECT_EQ(qolive_streams_add_report_data("unknown", 7, QOLIVE_DATA_VIDEO_WIDTH, 1), QOLIVE_DONE);
    EXPECT_EQ(qolive_streams_add_report_data("s", 1, 42, 1), QOLIVE_DONE);
    EXPECT_EQ(qolive_streams_add_report_string_data("s", 1, QOLIVE_STRING_SESSION_ID, "5f1c", 4),
              QOLIVE_DONE);
    EXPECT_EQ(Event(QOLIVE_EVENT_STREAM_START, R"({"own":1})"), QOLIVE_DONE);

    const Json::Value record = Parsed(Sent(1).at(0).body);
    EXPECT_EQ(record["width"].asInt(), 1280);
    EXPECT_EQ(record["height"].asInt(), -720);
    EXPECT_EQ(record["sid"].asString(), "5f1c");
    EXPECT_EQ(record["own"].asInt(), 1);
}

TEST(CInterfaceStreams, TextsWithoutPointerAreRefused) {
    StartAcceptedStream();
    EXPECT_EQ(qolive_streams_report_start(nullptr, 1, QOLIVE_STREAM_SAMPLED), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(qolive_streams_report_stop(nullptr, 1), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(qolive_streams_add_report_data(nullptr, 1, 0, 0), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(qolive_streams_add_report_string_data(nullptr, 1, 0, "x", 1), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(qolive_streams_add_report_string_data("s", 1, 0, nullptr, 1), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(qolive_streams_report_event_data(nullptr, 1, 1, "{}", 2), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(qolive_streams_report_event_data("s", 1, 1, nullptr, 2), QOLIVE_NULL_ARGUMENT);
}

TEST(CInterfaceStreams, HostRecordGoesOutAsItIsOnceTheServerHasAccepted) {
    Connect();
    qolive_streams_report_start("s", 1, QOLIVE_STREAM_EVENTS_ONLY);
    EXPECT_EQ(Event(QOLIVE_EVENT_HOST_RECORD, R"({"dropped":1})"), QOLIVE_DONE);
    FakeMsgCenter::main().serverData(kStreams, R"({"type":1,"code":0})");
    EXPECT_EQ(Event(QOLIVE_EVENT_HOST_RECORD, R"({"n":[1,"x"]})"), QOLIVE_DONE);
    const auto messages = Sent(1);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(Parsed(messages[0].body), Parsed(R"({"n":[1,"x"]})"));
    EXPECT_EQ(Parsed(messages[0].head)["event"].asInt(), 2);
}

TEST(CInterfaceStreams, AnEventThatDoesNotParseIsRefused) {
    StartAcceptedStream();
    for (const std::string& json : {std::string(), std::string("{"), std::string("{\"a\":}"),
                                    std::string("nope"), std::string(100000, '[')})
        EXPECT_EQ(Event(QOLIVE_EVENT_HOST_RECORD, json), QOLIVE_BAD_JSON) << json.substr(0, 9);
    EXPECT_EQ(Event(QOLIVE_EVENT_HOST_RECORD, "[]"), QOLIVE_DONE);
    EXPECT_EQ(Sent(1).size(), 1U);
}

TEST(CInterfaceStreams, StopForgetsTheStream) {
    StartAcceptedStream();
    EXPECT_EQ(qolive_streams_report_stop("s", 1), QOLIVE_DONE);
    EXPECT_EQ(Event(QOLIVE_EVENT_STREAM_START, "{}"), QOLIVE_DONE);
    EXPECT_EQ(qolive_streams_report_start("s", 1, QOLIVE_STREAM_EVENTS_ONLY), QOLIVE_DONE);
    EXPECT_EQ(Event(QOLIVE_EVENT_STREAM_START, R"({"second":1})"), QOLIVE_DONE);
    const auto messages = Sent(1);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(Parsed(messages[0].body)["second"].asInt(), 1);
}

TEST(CInterfaceStreams, SendStreamReportGivesTheHeadThatIsSent) {
    Connect();
    char buffer[256];
    std::size_t length = 0;
    EXPECT_EQ(Send(R"({"r":1})", R"({"type":8})", buffer, sizeof buffer, &length), 1);
    const SentMessage message = Sent(1).at(0);
    EXPECT_EQ(Parsed(message.body), Parsed(R"({"r":1})"));
    ASSERT_LE(length, sizeof buffer);
    EXPECT_EQ(Parsed(message.head), Parsed(std::string(buffer, length)));
    EXPECT_EQ(Parsed(message.head)["type"].asInt(), 8);
    EXPECT_FALSE(Parsed(message.head)["mid"].asString().empty());
    EXPECT_EQ(std::string(buffer, length).find('\n'), std::string::npos);
}

TEST(CInterfaceStreams, SendStreamReportQueuesEvenWhenTheHeadDoesNotFit) {
    Connect();
    std::size_t length = 0;
    EXPECT_EQ(Send("{}", "{}", nullptr, 0, &length), 1);
    EXPECT_GT(length, 0U);
    EXPECT_EQ(Sent(1).size(), 1U);
}

TEST(CInterfaceStreams, SendStreamReportRefusesAndFailsWithoutSending) {
    std::size_t length = 0;
    EXPECT_EQ(Send("{}", "{}", nullptr, 0, &length), 0);
    Connect();
    EXPECT_EQ(Send("{", "{}", nullptr, 0, &length), QOLIVE_BAD_JSON);
    EXPECT_EQ(Send("{}", "", nullptr, 0, &length), QOLIVE_BAD_JSON);
    EXPECT_EQ(Send("{}", "{}", nullptr, 1, &length), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(Send("{}", "{}", nullptr, 0, nullptr), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(Send("{}", "[1]", nullptr, 0, &length), 0);
    EXPECT_EQ(Send(R"({"only":1})", "{}", nullptr, 0, &length), 1);
    const auto messages = Sent(1);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(Parsed(messages[0].body)["only"].asInt(), 1);
}

TEST(CInterfaceStreams, CountersTellWhatHasBecomeOfTheRecords) {
    qolive_record_counters counters{};
    counters.size = sizeof counters;
    ASSERT_EQ(qolive_streams_get_record_counters(&counters), QOLIVE_DONE);
    EXPECT_EQ(counters.queued, 0U);
    EXPECT_EQ(counters.oldest_waiting_ms, 0U);
    ASSERT_EQ(qolive_streams_init(), 1);
    std::size_t length = 0;
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(Send("{}", "{}", nullptr, 0, &length), 1);
    ASSERT_EQ(qolive_streams_set_record_bound(2, 0), QOLIVE_DONE);
    ASSERT_EQ(qolive_streams_get_record_counters(&counters), QOLIVE_DONE);
    EXPECT_EQ(counters.queued, 3U);
    EXPECT_EQ(counters.waiting, 2U);
    EXPECT_EQ(counters.dropped_by_bound, 1U);
    EXPECT_EQ(counters.waiting_bytes, 2 * (length + 1 + 3));
    ASSERT_EQ(qolive_streams_set_record_bound(0, length), QOLIVE_DONE);
    FakeMsgCenter::main().connect(kStreams);
    ASSERT_EQ(Send("{}", "{}", nullptr, 0, &length), 1);
    Sent(1);
    ASSERT_TRUE(support::Eventually([&counters] {
        return qolive_streams_get_record_counters(&counters) == QOLIVE_DONE && counters.waiting == 0;
    }));
    EXPECT_EQ(counters.handed_over, 1U);
    EXPECT_EQ(counters.dropped_by_bound, 3U);
    EXPECT_EQ(counters.waiting_bytes, 0U);
    EXPECT_EQ(counters.lost_at_disconnect, 0U);
}

TEST(CInterfaceStreams, CountersAreRefusedWithoutARightStructure) {
    EXPECT_EQ(qolive_streams_get_record_counters(nullptr), QOLIVE_NULL_ARGUMENT);
    qolive_record_counters counters{};
    counters.size = sizeof counters - 1;
    counters.queued = 77;
    EXPECT_EQ(qolive_streams_get_record_counters(&counters), QOLIVE_BAD_SIZE);
    EXPECT_EQ(counters.queued, 77U);
}

}  // namespace
