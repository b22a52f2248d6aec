#include "readings/ProcessorUse.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr auto kLargest = std::numeric_limits<std::uint64_t>::max();

TEST(Percent, IsRoundedToTheNearest) {
    EXPECT_EQ(PercentOf(1, 200), 1);
    EXPECT_EQ(PercentOf(1, 201), 0);
    EXPECT_EQ(PercentOf(2, 3), 67);
    EXPECT_EQ(PercentOf(199, 200), 100);
}

TEST(Percent, OfNothingIsZero) {
    EXPECT_EQ(PercentOf(0, 0), 0);
    EXPECT_EQ(PercentOf(5, 0), 0);
}

TEST(Percent, NeverExceedsOneHundred) {
    EXPECT_EQ(PercentOf(201, 200), 100);
    EXPECT_EQ(PercentOf(kLargest, 1), 100);
}

TEST(Percent, TakesTheLargestFigures) {
    EXPECT_EQ(PercentOf(kLargest / 2, kLargest), 50);
    EXPECT_EQ(PercentOf(1, kLargest), 0);
}

}  // namespace
