#include "data_report/StreamQulityData.h"

#include <gtest/gtest.h>

#include <limits>

#include "unit/data_report/Peers.h"

namespace data_report {
namespace {

constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();

class StreamQulityDataTest : public ::testing::Test {
protected:
    StreamQulityData m_data{"id", StreamTypeEnum::EventsOnly};
};

TEST_F(StreamQulityDataTest, EveryValueIsZeroAndEveryTextEmptyAtFirst) {
    EXPECT_EQ(m_data.m_streamId, "id");
    EXPECT_EQ(m_data.m_streamType, StreamTypeEnum::EventsOnly);
    for (std::int32_t type = 0; type < 42; ++type)
        EXPECT_EQ(ValueOf(m_data, type), 0) << type;
    for (std::int32_t type = 0; type < 7; ++type)
        EXPECT_EQ(TextOf(m_data, type), "") << type;
}

TEST_F(StreamQulityDataTest, ACounterFedTwiceKeepsTheSumAndASettingTheSecondValue) {
    for (std::int32_t type = 0; type < 42; ++type) {
        m_data.AddData(DataType(type), 10);
        m_data.AddData(DataType(type), 20);
    }
    for (std::int32_t type = 0; type < 12; ++type)
        EXPECT_EQ(ValueOf(m_data, type), 30) << type;
    for (std::int32_t type = 12; type < 42; ++type)
        EXPECT_EQ(ValueOf(m_data, type), 20) << type;
}

TEST_F(StreamQulityDataTest, ATextFedTwiceKeepsTheSecond) {
    for (std::int32_t type = 0; type < 7; ++type) {
        m_data.SetString(StringType(type), "first");
        m_data.SetString(StringType(type), "second");
        EXPECT_EQ(TextOf(m_data, type), "second") << type;
    }
}

TEST_F(StreamQulityDataTest, TypesOutsideTheBoundsChangeNothing) {
    constexpr std::int32_t kFar = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t type : {42, 43, kFar, -1, -kFar - 1})
        m_data.AddData(DataType(type), 1);
    for (const std::int32_t type : {7, 8, kFar, -1, -kFar - 1})
        m_data.SetString(StringType(type), "text");
    for (std::int32_t type = 0; type < 42; ++type)
        EXPECT_EQ(ValueOf(m_data, type), 0) << type;
    for (std::int32_t type = 0; type < 7; ++type)
        EXPECT_EQ(TextOf(m_data, type), "") << type;
}

TEST_F(StreamQulityDataTest, ACounterWrapsAtBothEndsOf64Bits) {
    m_data.AddData(DataTypeEnum::FramesLost, kHighest);
    m_data.AddData(DataTypeEnum::FramesLost, 1);
    EXPECT_EQ(ValueOf(m_data, 3), kLowest);
    m_data.AddData(DataTypeEnum::FramesLost, -1);
    EXPECT_EQ(ValueOf(m_data, 3), kHighest);
}

TEST_F(StreamQulityDataTest, ASettingHoldsBothEndsOf64Bits) {
    m_data.AddData(DataTypeEnum::UserId, kHighest);
    EXPECT_EQ(ValueOf(m_data, 32), kHighest);
    m_data.AddData(DataTypeEnum::UserId, kLowest);
    EXPECT_EQ(ValueOf(m_data, 32), kLowest);
}

TEST_F(StreamQulityDataTest, TextsAreKeptByteForByte) {
    const std::string bytes("a\0\xff\xfe z", 6);
    m_data.SetString(StringDataTypeEnum::Url, bytes);
    EXPECT_EQ(TextOf(m_data, 0), bytes);
}

TEST_F(StreamQulityDataTest, TakingAValueLeavesZero) {
    m_data.AddData(DataTypeEnum::VideoFramesSent, 7);
    const qolive::ExclusiveLock lock(m_data.m_lock);
    EXPECT_EQ(m_data.TakeValue(DataTypeEnum::VideoFramesSent), 7);
    EXPECT_EQ(m_data.Value(DataTypeEnum::VideoFramesSent), 0);
}

}  // namespace
}  // namespace data_report
