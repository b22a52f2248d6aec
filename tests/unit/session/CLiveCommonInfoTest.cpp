#include "session/CLiveCommonInfo.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(CLiveCommonInfo, AFreshSessionReportsTheDefaults) {
    CLiveCommonInfo& info = *CLiveCommonInfo::GetInstance();
    EXPECT_FALSE(info.IsTalkLiving());
    EXPECT_EQ(info.GetEnterTalkTime(), 0);
    EXPECT_EQ(info.GetLeaveTalkTime(), 0);
    EXPECT_EQ(info.GetSdkId(), 0);
    EXPECT_EQ(info.GetMicType(), 0);
    EXPECT_EQ(info.GetMixMode(), 0);
    EXPECT_EQ(info.GetLayoutType(), "none");
    EXPECT_FALSE(info.GetIsClientMix());
    EXPECT_FALSE(info.GetSuperSharp());
}

TEST(CLiveCommonInfo, LeavingKeepsTheEnterTimeAndReplacesTheIdentifier) {
    CLiveCommonInfo info;
    const long long before = std::time(nullptr);
    info.SetTalkLiving(true, 7);
    EXPECT_TRUE(info.IsTalkLiving());
    EXPECT_EQ(info.GetSdkId(), 7);
    EXPECT_EQ(info.GetLeaveTalkTime(), 0);
    const long long entered = info.GetEnterTalkTime();
    EXPECT_GE(entered, before);

    info.SetTalkLiving(false, 0);
    EXPECT_FALSE(info.IsTalkLiving());
    EXPECT_EQ(info.GetSdkId(), 0);
    EXPECT_EQ(info.GetEnterTalkTime(), entered);
    EXPECT_GE(info.GetLeaveTalkTime(), entered);
    EXPECT_LE(info.GetLeaveTalkTime(), std::time(nullptr));
}

TEST(CLiveCommonInfo, LeavingWithoutEnteringSetsTheLeaveTimeOnly) {
    CLiveCommonInfo info;
    info.SetTalkLiving(false, 3);
    EXPECT_FALSE(info.IsTalkLiving());
    EXPECT_EQ(info.GetEnterTalkTime(), 0);
    EXPECT_GT(info.GetLeaveTalkTime(), 0);
    EXPECT_EQ(info.GetSdkId(), 3);
}

TEST(CLiveCommonInfo, OnlyMixModeTwoMeansThatTheClientMixes) {
    CLiveCommonInfo info;
    info.SetMixMode(2);
    EXPECT_TRUE(info.GetIsClientMix());
    for (const int other : {1, 3, -2, 0}) {
        info.SetMixMode(other);
        EXPECT_EQ(info.GetMixMode(), other);
        EXPECT_FALSE(info.GetIsClientMix()) << other;
    }
}

TEST(CLiveCommonInfo, AnEmptyLayoutTypeIsStoredAsItIs) {
    CLiveCommonInfo info;
    info.SetLayoutType("");
    EXPECT_EQ(info.GetLayoutType(), "");
}

TEST(CLiveCommonInfo, MicTypeAndSuperSharpAreStored) {
    CLiveCommonInfo info;
    info.SetMicType(-1);
    info.SetSuperSharp(true);
    EXPECT_EQ(info.GetMicType(), -1);
    EXPECT_TRUE(info.GetSuperSharp());
}

TEST(CLiveCommonInfo, ACopyCarriesEveryFact) {
    CLiveCommonInfo original;
    original.SetTalkLiving(true, 9);
    original.SetLayoutType("grid");
    const CLiveCommonInfo copy(original);
    CLiveCommonInfo assigned;
    assigned = copy;
    EXPECT_EQ(assigned.GetSdkId(), 9);
    EXPECT_EQ(assigned.GetLayoutType(), "grid");
    EXPECT_EQ(assigned.GetEnterTalkTime(), original.GetEnterTalkTime());
}

TEST(CLiveCommonInfo, ManyThreadsMaySetAndReadAtOnce) {
    CLiveCommonInfo& info = *CLiveCommonInfo::GetInstance();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&info, i] {
            for (int n = 0; n < 1000; ++n) {
                info.SetLayoutType(std::string(100, static_cast<char>('a' + i)));
                const std::string layout = info.GetLayoutType();
                ASSERT_EQ(layout, std::string(100, layout[0]));
                info.SetTalkLiving(n % 2 == 0, n);
            }
        });
    for (auto& thread : threads)
        thread.join();
}

}  // namespace
