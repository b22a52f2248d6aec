#include <json/value.h>

#include <ctime>
#include <limits>
#include <map>
#include <stdexcept>

#include "unit/data_report/StreamUnderTest.h"

namespace data_report {
namespace {

class StreamRecords : public StreamUnderTest {
protected:
    Json::Value streamStart(Json::Value event = Json::Value()) {
        m_head = Json::Value();
        m_report.BuildStreamStartRecord(event, m_head);
        return event;
    }

    Json::Value firstFrame() {
        Json::Value record;
        m_head = Json::Value();
        m_report.BuildFirstFrameRecord(record, m_head);
        return record;
    }

    Json::Value m_head;
};

const std::map<std::string, std::int32_t> kStreamNumbers = {
    {"provider", 13},     {"t", 15},          {"appId", 30},
    {"pid", 31},          {"uid", 32},        {"roomId", 33},
    {"liveType", 35},     {"clarity", 36},    {"memory", 38},
    {"codec", 23},        {"encodeType", 18}, {"protocol", 14},
    {"network", 28},      {"width", 19},      {"height", 20},
    {"vBitrate", 22},     {"fps", 21},        {"aBitrate", 24},
    {"startTime", 25},    {"endTime", 26},    {"requestTime", 15},
    {"responseTime", 16}, {"state", 40},      {"code", 41},
};

const std::map<std::string, std::int32_t> kStreamTexts = {
    {"url", 0}, {"serverIp", 1}, {"sid", 2}, {"ver", 3}, {"devId", 4}, {"cpu", 5}, {"streamId", 6},
};

TEST_F(StreamRecords, AStreamRecordCarriesEverySettingAndText) {
    for (std::int32_t type = 0; type < 42; ++type)
        m_data->AddData(DataType(type), 1000 + type);
    for (std::int32_t type = 0; type < 7; ++type)
        m_data->SetString(StringType(type), "text " + std::to_string(type));
    const Json::Value record = streamStart();
    for (const auto& [key, type] : kStreamNumbers)
        EXPECT_EQ(record[key].asInt64(), 1000 + type) << key;
    for (const auto& [key, type] : kStreamTexts)
        EXPECT_EQ(record[key].asString(), "text " + std::to_string(type)) << key;
    EXPECT_EQ(record.size(), kStreamNumbers.size() + kStreamTexts.size() + 3);
    EXPECT_EQ(WriteCompactJson(m_head), "{\"event\":2,\"type\":1}\n");
}

TEST_F(StreamRecords, AStreamRecordBeforeAnySettingIsZerosEmptyTextsAndLiveReadings) {
    fakes::HostReadingsScript script;
    script.systemCpu = 40;
    script.processCpu = 7;
    fakes::SetHostReadings(script);
    const Json::Value record = streamStart();
    for (const auto& number : kStreamNumbers)
        EXPECT_EQ(record[number.first], Json::Value(Json::Int64{0})) << number.first;
    for (const auto& text : kStreamTexts)
        EXPECT_EQ(record[text.first], Json::Value("")) << text.first;
    EXPECT_EQ(record["devName"].asString(), "windows");
    EXPECT_EQ(record["cpuUsage"].asInt(), 40);
    EXPECT_EQ(record["cpuAppUsage"].asInt(), 7);
}

TEST_F(StreamRecords, AStreamRecordKeepsTheEventsOtherKeysAndReplacesItsOwn) {
    Json::Value event;
    event["mine"] = "kept";
    event["provider"]["wrong"] = "type";
    const Json::Value record = streamStart(event);
    EXPECT_EQ(record["mine"].asString(), "kept");
    EXPECT_EQ(record["provider"], Json::Value(Json::Int64{0}));
}

TEST_F(StreamRecords, AFirstFrameRecordMeasuresFromTheRequest) {
    m_data->AddData(DataTypeEnum::RequestTime, 1000);
    m_data->AddData(DataTypeEnum::FirstFrameArrivalTime, 1250);
    m_data->AddData(DataTypeEnum::StreamStartTime, 9);
    m_data->AddData(DataTypeEnum::FirstFrameTime, 1240);
    m_data->AddData(DataTypeEnum::State, 3);
    m_data->AddData(DataTypeEnum::ResultCode, 200);
    EXPECT_EQ(WriteCompactJson(firstFrame()),
              "{\"code\":200,\"duration\":250,\"firstFrameTime\":1240,\"startTime\":1000,\"state\":3}\n");
    EXPECT_EQ(WriteCompactJson(m_head), "{\"event\":2,\"type\":4}\n");
}

TEST_F(StreamRecords, AFirstFrameRecordWithoutAnArrivalHasANegativeDuration) {
    m_data->AddData(DataTypeEnum::RequestTime, 1000);
    EXPECT_EQ(firstFrame()["duration"].asInt64(), -1000);
}

TEST_F(StreamRecords, ADurationBeyond64BitsWraps) {
    m_data->AddData(DataTypeEnum::RequestTime, 1);
    m_data->AddData(DataTypeEnum::FirstFrameArrivalTime, std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(firstFrame()["duration"].asInt64(), std::numeric_limits<std::int64_t>::max());
}

TEST_F(StreamRecords, TheFirstQualityRecordHasOrderOneAndTheNextTwo) {
    EXPECT_EQ(m_peer.qualityRecord()["order"].asUInt(), 1U);
    EXPECT_EQ(m_peer.qualityRecord()["order"].asUInt(), 2U);
}

TEST_F(StreamRecords, AQualityRecordWithoutACollectionCarriesNoSamples) {
    m_data->SetString(StringDataTypeEnum::SessionId, "s");
    EXPECT_EQ(WriteCompactJson(m_peer.qualityRecord()),
              "{\"aBitrateAvg\":0,\"lostFrames\":0,\"order\":1,\"sid\":\"s\",\"t\":0,\"vBitrateAvg\":0}\n");
}

TEST_F(StreamRecords, LostFramesCarriesWhatWasFedSinceThePreviousQualityRecord) {
    m_data->AddData(DataTypeEnum::FramesLost, 3);
    m_peer.collect();
    m_data->AddData(DataTypeEnum::FramesLost, 4);
    m_peer.collect();
    EXPECT_EQ(m_peer.qualityRecord()["lostFrames"].asInt64(), 7);
    EXPECT_EQ(m_peer.qualityRecord()["lostFrames"].asInt64(), 0);
}

TEST_F(StreamRecords, AveragesAreTruncated) {
    m_peer.videoSendSamples() = {100, 101, 102};
    m_peer.audioSendSamples() = {1, 2};
    const Json::Value record = m_peer.qualityRecord();
    EXPECT_EQ(record["vBitrateAvg"].asUInt64(), 101U);
    EXPECT_EQ(record["aBitrateAvg"].asUInt64(), 1U);
}

TEST_F(StreamRecords, AveragesOfTheLargestSamplesDoNotOverflow) {
    m_peer.videoSendSamples() = {0xffffffffU, 0xffffffffU};
    EXPECT_EQ(m_peer.qualityRecord()["vBitrateAvg"].asUInt64(), 0xffffffffU);
}

TEST_F(StreamRecords, ADeviceSampleSumsTheEncodedAndTheSentBitrates) {
    m_data->AddData(DataTypeEnum::VideoBytesEncoded, 937500);  // 1500 kbps over 5 s
    m_data->AddData(DataTypeEnum::AudioBytesEncoded, 40000);   // 64 kbps
    m_data->AddData(DataTypeEnum::VideoBytesSent, 625000);     // 1000 kbps
    m_data->AddData(DataTypeEnum::AudioBytesSent, 20000);      // 32 kbps
    const Json::Value sample = deviceSample();
    EXPECT_EQ(sample["sbr"].asUInt(), 1564U);
    EXPECT_EQ(sample["rbr"].asUInt(), 1032U);
}

TEST_F(StreamRecords, SamplesHoldExactlyTheirKeys) {
    m_peer.collect();
    const Json::Value record = m_peer.qualityRecord();
    EXPECT_EQ(record["streams"][0].getMemberNames(),
              (std::vector<std::string>{"acFps", "aeBitrate", "aeFps", "asBitrate", "asFps", "collectTime",
                                        "vcFps", "veBitrate", "veFps", "vsBitrate", "vsFps"}));
    EXPECT_EQ(
        record["devices"][0].getMemberNames(),
        (std::vector<std::string>{"collectTime", "cpuAppUsage", "cpuUsage", "mem", "nt", "rbr", "sbr"}));
}

struct Feeding {
    int counters;  ///< the sample of counter 0; that of counter n is greater by n
    int systemCpu;
    int processCpu;
    unsigned memory;
    std::uint64_t rttMs;
};

void Feed(StreamQulityData& data, StreamQualityReportTestPeer& peer, const Feeding& fed) {
    constexpr int kFramesPerFps = 5;
    constexpr int kBytesPerKbps = 625;
    for (const int type : {0, 1, 2, 4, 5, 6})
        data.AddData(DataType(type), kFramesPerFps * (fed.counters + type));
    for (const int type : {8, 9, 10, 11})
        data.AddData(DataType(type), kBytesPerKbps * (fed.counters + type));
    fakes::HostReadingsScript script;
    script.systemCpu = fed.systemCpu;
    script.processCpu = fed.processCpu;
    script.totalPhysical = 100;
    script.availablePhysical = 100 - fed.memory;
    fakes::SetHostReadings(script);
    peer.setRttMs(fed.rttMs);
}

void ExpectSamplesOf(const Feeding& fed, const Json::Value& stream, const Json::Value& device) {
    const std::map<std::string, int> counters = {
        {"vcFps", 0}, {"veFps", 1},     {"vsFps", 2},     {"acFps", 4},      {"aeFps", 5},
        {"asFps", 6}, {"veBitrate", 8}, {"vsBitrate", 9}, {"aeBitrate", 10}, {"asBitrate", 11},
    };
    for (const auto& [key, type] : counters)
        EXPECT_EQ(stream[key].asInt(), fed.counters + type) << key;
    EXPECT_EQ(device["cpuUsage"].asInt(), fed.systemCpu);
    EXPECT_EQ(device["cpuAppUsage"].asInt(), fed.processCpu);
    EXPECT_EQ(device["mem"].asUInt(), fed.memory);
    EXPECT_EQ(device["nt"].asUInt64(), fed.rttMs / 50);
    EXPECT_EQ(device["sbr"].asInt(), 2 * fed.counters + 8 + 10);
    EXPECT_EQ(device["rbr"].asInt(), 2 * fed.counters + 9 + 11);
}

TEST_F(StreamRecords, EachObjectHoldsWhatOneCollectionTook) {
    const Feeding first{100, 11, 12, 25, 150};
    const Feeding second{200, 21, 22, 50, 250};
    Feed(*m_data, m_peer, first);
    m_peer.collect();
    const std::time_t between = std::time(nullptr);
    ASSERT_TRUE(Eventually([between] { return std::time(nullptr) > between; }));
    Feed(*m_data, m_peer, second);
    m_peer.collect();
    const Json::Value record = m_peer.qualityRecord();
    ASSERT_EQ(record["streams"].size(), 2U);
    ASSERT_EQ(record["devices"].size(), 2U);
    ExpectSamplesOf(first, record["streams"][0], record["devices"][0]);
    ExpectSamplesOf(second, record["streams"][1], record["devices"][1]);
    for (const char* kind : {"streams", "devices"}) {
        EXPECT_LE(record[kind][0]["collectTime"].asInt64(), between) << kind;
        EXPECT_GT(record[kind][1]["collectTime"].asInt64(), between) << kind;
    }
}

TEST_F(StreamRecords, AQueueShorterThanTheOthersRaises) {
    m_peer.collect();
    m_peer.dropLastStreamSample();
    try {
        m_peer.qualityRecord();
        FAIL() << "nothing was raised";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid deque<T> subscript");
    }
}

}  // namespace
}  // namespace data_report
