#include "collector/model/Budgets.h"

#include <gtest/gtest.h>

namespace collector {
namespace {

constexpr std::size_t kAll = 5U << 20U;

TEST(Budgets, FiveMebibytesAreReadAtOnceAndNotAByteMore) {
    Budgets budgets;
    EXPECT_TRUE(budgets.Take("a", kAll - 1, 0).granted);
    EXPECT_FALSE(budgets.Take("a", 2, 0).granted);
    EXPECT_TRUE(budgets.Take("a", 1, 0).granted);
    EXPECT_FALSE(budgets.Take("a", 1, 0).granted);
}

TEST(Budgets, OneClientsSpendingIsNotAnothers) {
    Budgets budgets;
    EXPECT_TRUE(budgets.Take("a", kAll, 0).granted);
    EXPECT_TRUE(budgets.Take("b", kAll, 0).granted);
}

TEST(Budgets, ASecondEarns128KiB) {
    constexpr std::size_t kEarned = 1000 * 128;
    Budgets budgets;
    budgets.Take("a", kAll, 500);
    EXPECT_FALSE(budgets.Take("a", kEarned, 1499).granted);
    EXPECT_FALSE(budgets.Take("a", kEarned + 1, 1500).granted);
    EXPECT_TRUE(budgets.Take("a", kEarned, 1500).granted);
    EXPECT_FALSE(budgets.Take("a", kAll + 1, 9000000000).granted)
        << "no more is saved than may be spent at once";
    EXPECT_TRUE(budgets.Take("a", kAll, 9000000000).granted);
}

TEST(Budgets, WhatIsNotReadIsToldOnceAMinute) {
    Budgets budgets;
    EXPECT_EQ(budgets.Take("a", kAll, 0).unread, 0);
    EXPECT_EQ(budgets.Take("a", kAll, 0).unread, 1);
    EXPECT_EQ(budgets.Take("a", kAll, 1).unread, 0);
    EXPECT_EQ(budgets.Take("a", kAll, 2).unread, 0);
    EXPECT_EQ(budgets.Take("a", 1, 59999).unread, 0);
    EXPECT_EQ(budgets.Take("a", 1, 60000).unread, 2) << "although this one is read";
    EXPECT_EQ(budgets.Take("a", 1, 120000).unread, 0);
}

TEST(Budgets, OnlyThoseWhoHaveSpentAreRemembered) {
    Budgets budgets;
    budgets.Take("spender", kAll, 0);
    for (int i = 0; i < 100000; ++i)
        EXPECT_TRUE(budgets.Take("client-" + std::to_string(i), 100, i / 100).granted);
    EXPECT_LT(budgets.Size(), 2000U);
    EXPECT_FALSE(budgets.Take("spender", kAll, 1000).granted);
}

}  // namespace
}  // namespace collector
