#include <ctime>
#include <limits>

#include "fakes/CapturingLog.h"
#include "platform/HostProcess.h"
#include "unit/data_report/StreamUnderTest.h"

namespace data_report {
namespace {

constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();

class StreamSamples : public StreamUnderTest {};
class EventsOnlyStreamSamples : public EventsOnlyStreamUnderTest {};

struct Expectation {
    DataTypeEnum type;
    const char* key;
};

constexpr Expectation kFrameCounters[] = {
    {DataTypeEnum::VideoFramesCaptured, "vcFps"}, {DataTypeEnum::VideoFramesEncoded, "veFps"},
    {DataTypeEnum::VideoFramesSent, "vsFps"},     {DataTypeEnum::AudioFramesCaptured, "acFps"},
    {DataTypeEnum::AudioFramesEncoded, "aeFps"},  {DataTypeEnum::AudioFramesSent, "asFps"},
};

constexpr Expectation kByteCounters[] = {
    {DataTypeEnum::VideoBytesEncoded, "veBitrate"},
    {DataTypeEnum::VideoBytesSent, "vsBitrate"},
    {DataTypeEnum::AudioBytesEncoded, "aeBitrate"},
    {DataTypeEnum::AudioBytesSent, "asBitrate"},
};

TEST_F(StreamSamples, ConstructionPrimesTheReadingsOfTheHostProcess) {
    EXPECT_EQ(fakes::ProcessCpuReadings(), std::vector<std::wstring>{L"QoLive.exe"});
    EXPECT_EQ(fakes::SystemCpuInitializations(), 1);
    EXPECT_EQ(fakes::SystemCpuReadings(), 0);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(0));
    EXPECT_FALSE(m_report.IsEnabled());
}

TEST_F(StreamSamples, TheHostProcessMayHaveAnotherName) {
    SetHostProcess("another.exe");
    deviceSample();
    EXPECT_EQ(fakes::ProcessCpuReadings().back(), L"another.exe");
}

TEST_F(StreamSamples, AFrameCounterBecomesFramesPerSecondRoundedDown) {
    for (const auto& [type, key] : kFrameCounters) {
        m_data->AddData(type, 100);
        m_data->AddData(type, 49);
        EXPECT_EQ(streamSample()[key].asUInt(), 29U) << key;
        EXPECT_EQ(streamSample()[key].asUInt(), 0U) << key << " starts again from 0";
    }
}

TEST_F(StreamSamples, AByteCounterBecomesKilobitsPerSecondRoundedDownAtEachStep) {
    struct Case {
        std::int64_t bytes;
        unsigned kbps;
    };
    for (const auto& [type, key] : kByteCounters)
        for (const Case& each : {Case{3124, 4}, Case{999, 1}, Case{624, 0}, Case{625, 1}, Case{0, 0}}) {
            m_data->AddData(type, each.bytes);
            EXPECT_EQ(streamSample()[key].asUInt(), each.kbps) << key << ' ' << each.bytes;
        }
}

TEST_F(StreamSamples, ACollectionNotesItsTimeInSeconds) {
    const auto before = static_cast<Json::UInt64>(std::time(nullptr));
    m_peer.collect();
    const Json::Value record = m_peer.qualityRecord();
    for (const char* kind : {"streams", "devices"}) {
        const Json::UInt64 collected = record[kind][0]["collectTime"].asUInt64();
        EXPECT_GE(collected, before);
        EXPECT_LE(collected, static_cast<Json::UInt64>(std::time(nullptr)));
    }
}

TEST_F(StreamSamples, LostFramesAndCounterSevenAreLeftAloneByACollection) {
    m_data->AddData(DataTypeEnum::FramesLost, 3);
    m_data->AddData(DataTypeEnum::UnusedCounter7, 7);
    m_peer.collect();
    EXPECT_EQ(ValueOf(*m_data, 3), 3);
    EXPECT_EQ(ValueOf(*m_data, 7), 7);
}

TEST_F(StreamSamples, NegativeCountersAreTruncatedTowardZeroAndStoredModulo32Bits) {
    m_data->AddData(DataTypeEnum::VideoFramesSent, -9);
    EXPECT_EQ(streamSample()["vsFps"].asUInt(), 0xffffffffU);
}

TEST_F(StreamSamples, CountersAtBothEndsOf64BitsGiveASample) {
    for (const std::int64_t end : {kHighest, kLowest}) {
        for (std::int32_t type = 0; type < 12; ++type)
            m_data->AddData(DataType(type), end);
        m_peer.collect();
    }
    EXPECT_EQ(m_peer.qualityRecord()["streams"].size(), 2U);
}

TEST_F(StreamSamples, APeriodOfZeroStopsTheStreamSamplesOnly) {
    m_peer.collect();
    m_data->AddData(DataTypeEnum::VideoFramesSent, 100);
    m_peer.setCollectPeriod(0);
    m_peer.collect();
    std::vector<std::size_t> elevenOfTheStreamAndFiveOfTheMachine(11, 1);
    elevenOfTheStreamAndFiveOfTheMachine.resize(16, 2);
    EXPECT_EQ(m_peer.queueSizes(), elevenOfTheStreamAndFiveOfTheMachine);
    EXPECT_EQ(ValueOf(*m_data, 2), 100);
}

TEST_F(StreamSamples, HostReadingsAreTakenTogether) {
    fakes::HostReadingsScript script;
    script.systemCpu = 37;
    script.processCpu = 12;
    script.totalPhysical = 3;
    script.availablePhysical = 1;
    fakes::SetHostReadings(script);
    m_peer.setRttMs(149);
    const Json::Value sample = deviceSample();
    EXPECT_EQ(sample["cpuUsage"].asInt(), 37);
    EXPECT_EQ(sample["cpuAppUsage"].asInt(), 12);
    EXPECT_EQ(sample["mem"].asInt(), 66);
    EXPECT_EQ(sample["nt"].asInt(), 2);
    EXPECT_EQ(fakes::ProcessCpuReadings().back(), L"QoLive.exe");
}

TEST_F(StreamSamples, FailingMemoryInfoGivesAZeroSampleAndAllHostQueuesGrow) {
    fakes::HostReadingsScript script;
    script.memoryResult = 5;
    fakes::SetHostReadings(script);
    EXPECT_EQ(deviceSample()["mem"].asInt(), 0);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(1));
}

TEST_F(StreamSamples, AMachineOfOneKibibyteIsInUseWholeOrNotAtAll) {
    fakes::HostReadingsScript script;
    script.totalPhysical = 1;
    script.availablePhysical = 0;
    fakes::SetHostReadings(script);
    EXPECT_EQ(deviceSample()["mem"].asInt(), 100);
    script.availablePhysical = 1;
    fakes::SetHostReadings(script);
    EXPECT_EQ(deviceSample()["mem"].asInt(), 0);
}

TEST_F(StreamSamples, AMachineWithoutMemoryGivesAZeroSample) {
    fakes::HostReadingsScript script;
    script.totalPhysical = 0;
    fakes::SetHostReadings(script);
    EXPECT_EQ(deviceSample()["mem"].asInt(), 0);
}

TEST_F(StreamSamples, MoreAvailableThanTotalMemoryIsADefinedNumber) {
    fakes::HostReadingsScript script;
    script.totalPhysical = 1;
    script.availablePhysical = 2;
    fakes::SetHostReadings(script);
    EXPECT_EQ(deviceSample()["mem"].asInt(), static_cast<std::uint16_t>(429496729500));
}

TEST_F(StreamSamples, AReadingOfAMissingProcessIsStoredUnchanged) {
    fakes::HostReadingsScript script;
    script.processCpu = -1;
    fakes::SetHostReadings(script);
    EXPECT_EQ(deviceSample()["cpuAppUsage"].asInt(), 65535);
}

TEST_F(StreamSamples, TheNetworkGradeIsThePingTimeInSteppedFiftyMilliseconds) {
    struct Case {
        std::uint64_t rttMs;
        int grade;
    };
    for (const Case& each :
         {Case{0, 0}, Case{49, 0}, Case{50, 1}, Case{99, 1}, Case{100, 2}, Case{3000, 60}}) {
        m_peer.setRttMs(each.rttMs);
        EXPECT_EQ(deviceSample()["nt"].asInt(), each.grade) << each.rttMs;
    }
}

TEST_F(StreamSamples, APingTimeAtTheEndOf64BitsIsADefinedNumber) {
    m_peer.setRttMs(std::numeric_limits<std::uint64_t>::max());
    EXPECT_LE(deviceSample()["nt"].asInt(), 65535);
}

TEST_F(StreamSamples, WithoutAServerAddressTheGradeIsSixty) {
    EXPECT_EQ(deviceSample()["nt"].asInt(), 60);
}

TEST_F(EventsOnlyStreamSamples, NothingIsEverCollected) {
    Accept(m_report);
    m_data->AddData(DataTypeEnum::VideoFramesSent, 100);
    tick(120);
    EXPECT_EQ(m_peer.queueSizes(), queuesOf(0));
    EXPECT_EQ(ValueOf(*m_data, 2), 100);
    EXPECT_TRUE(m_manager.takeQueued().empty());
}

TEST(StreamSamplesWithoutData, NothingIsCollected) {
    StreamQualityReport report("id", StreamTypeEnum::EventsOnly, nullptr);
    StreamQualityReportTestPeer peer{report};
    peer.collect();
    EXPECT_EQ(peer.queueSizes(), std::vector<std::size_t>(16, 0));
}

}  // namespace
}  // namespace data_report
