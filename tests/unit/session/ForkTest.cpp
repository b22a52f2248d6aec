#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "session/CLiveCommonInfo.h"
#include "unit/ForkedChild.h"

namespace {

std::vector<unsigned char> BytesOf(const CLiveCommonInfo& info) {
    std::vector<unsigned char> bytes(sizeof info);
    std::memcpy(bytes.data(), &info, sizeof info);
    return bytes;
}

void SetAll(CLiveCommonInfo& info, int number, bool on) {
    info.SetTalkLiving(on, number);
    info.SetMicType(number);
    info.SetMixMode(number);
    info.SetLayoutType(std::string(static_cast<std::size_t>(number), 'x'));
    info.SetSuperSharp(on);
}

TEST(CLiveCommonInfoFork, TheChildReadsNothing) {
    CLiveCommonInfo info;
    info.SetTalkLiving(false, 1);
    SetAll(info, 2, true);
    ASSERT_TRUE(info.GetIsClientMix());
    InForkedChild([&info] {
        EXPECT_FALSE(info.IsTalkLiving());
        EXPECT_EQ(info.GetEnterTalkTime(), 0);
        EXPECT_EQ(info.GetLeaveTalkTime(), 0);
        EXPECT_EQ(info.GetSdkId(), 0);
        EXPECT_EQ(info.GetMicType(), 0);
        EXPECT_EQ(info.GetMixMode(), 0);
        EXPECT_FALSE(info.GetIsClientMix());
        EXPECT_EQ(info.GetLayoutType(), "");
        EXPECT_FALSE(info.GetSuperSharp());
    });
}

TEST(CLiveCommonInfoFork, TheChildChangesNothing) {
    CLiveCommonInfo info;
    SetAll(info, 2, true);
    InForkedChild([&info] {
        const auto before = BytesOf(info);
        SetAll(info, 3, false);
        EXPECT_TRUE(BytesOf(info) == before);
    });
}

}  // namespace
