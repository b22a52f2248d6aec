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
    StreamQulityData data{"id", StreamTypeEnum::EventsOnly};
};

TEST_F(StreamQulityDataTest, EveryValueIsZeroAndEveryTextEmptyAtFirst) {
    EXPECT_EQ(data.m_streamId, "id");
    EXPECT_EQ(data.m_streamType, StreamTypeEnum::EventsOnly);
    for (std::int32_t type = 0; type < 42; ++type)
        EXPECT_EQ(valueOf(data, type), 0) << type;
    for (std::int32_t type = 0; type < 7; ++type)
        EXPECT_EQ(textOf(data, type), "") << type;
}

TEST_F(StreamQulityDataTest, ACounterFedTwiceKeepsTheSumAndASettingTheSecondValue) {
    for (std::int32_t type = 0; type < 42; ++type) {
        data.AddData(dataType(type), 10);
        data.AddData(dataType(type), 20);
    }
    for (std::int32_t type = 0; type < 12; ++type)
        EXPECT_EQ(valueOf(data, type), 30) << type;
    for (std::int32_t type = 12; type < 42; ++type)
        EXPECT_EQ(valueOf(data, type), 20) << type;
}

TEST_F(StreamQulityDataTest, ATextFedTwiceKeepsTheSecond) {
    for (std::int32_t type = 0; type < 7; ++type) {
        data.SetString(stringType(type), "first");
        data.SetString(stringType(type), "second");
        EXPECT_EQ(textOf(data, type), "second") << type;
    }
}

TEST_F(StreamQulityDataTest, TypesOutsideTheBoundsChangeNothing) {
    constexpr std::int32_t kFar = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t type : {42, 43, kFar, -1, -kFar - 1})
        data.AddData(dataType(type), 1);
    for (const std::int32_t type : {7, 8, kFar, -1, -kFar - 1})
        data.SetString(stringType(type), "text");
    for (std::int32_t type = 0; type < 42; ++type)
        EXPECT_EQ(valueOf(data, type), 0) << type;
    for (std::int32_t type = 0; type < 7; ++type)
        EXPECT_EQ(textOf(data, type), "") << type;
}

TEST_F(StreamQulityDataTest, ACounterWrapsAtBothEndsOf64Bits) {
    data.AddData(DataTypeEnum::FramesLost, kHighest);
    data.AddData(DataTypeEnum::FramesLost, 1);
    EXPECT_EQ(valueOf(data, 3), kLowest);
    data.AddData(DataTypeEnum::FramesLost, -1);
    EXPECT_EQ(valueOf(data, 3), kHighest);
}

TEST_F(StreamQulityDataTest, ASettingHoldsBothEndsOf64Bits) {
    data.AddData(DataTypeEnum::UserId, kHighest);
    EXPECT_EQ(valueOf(data, 32), kHighest);
    data.AddData(DataTypeEnum::UserId, kLowest);
    EXPECT_EQ(valueOf(data, 32), kLowest);
}

TEST_F(StreamQulityDataTest, TextsAreKeptByteForByte) {
    const std::string bytes("a\0\xff\xfe z", 6);
    data.SetString(StringDataTypeEnum::Url, bytes);
    EXPECT_EQ(textOf(data, 0), bytes);
}

TEST_F(StreamQulityDataTest, TakingAValueLeavesZero) {
    data.AddData(DataTypeEnum::VideoFramesSent, 7);
    const qolive::ExclusiveLock lock(data.m_lock);
    EXPECT_EQ(data.TakeValue(DataTypeEnum::VideoFramesSent), 7);
    EXPECT_EQ(data.Value(DataTypeEnum::VideoFramesSent), 0);
}

}  // namespace
}  // namespace data_report
