#include "data_report/MessageId.h"

#include <gtest/gtest.h>

namespace data_report {
namespace {

constexpr std::int64_t kEpochMs = 1534832906275;
constexpr std::int64_t kNowMs = 1700000000000;
constexpr std::int64_t kDayNs = std::int64_t{24} * 3600 * 1000000000;

void ExpectSlot(const std::optional<IdSlot>& slot, std::int64_t ms, std::int64_t sequence) {
    ASSERT_TRUE(slot.has_value());
    EXPECT_EQ(slot->ms, ms);
    EXPECT_EQ(slot->sequence, sequence);
}

TEST(IdSlot, TheFirstIdOfAllHasSequenceZero) {
    ExpectSlot(NextIdSlot(IdSlot{}, kNowMs), kNowMs, 0);
}

TEST(IdSlot, IdsOfOneMillisecondAreCounted) {
    ExpectSlot(NextIdSlot({kNowMs, 0}, kNowMs), kNowMs, 1);
    ExpectSlot(NextIdSlot({kNowMs, 1}, kNowMs), kNowMs, 2);
}

TEST(IdSlot, ANewMillisecondBeginsAtZero) {
    ExpectSlot(NextIdSlot({kNowMs, 0}, kNowMs + 1), kNowMs + 1, 0);
    ExpectSlot(NextIdSlot({kNowMs, 4095}, kNowMs + 1), kNowMs + 1, 0);
}

TEST(IdSlot, AMillisecondHoldsFourThousandAndNinetySixIdsAndTheNextWaitsForTheClock) {
    ExpectSlot(NextIdSlot({kNowMs, 4094}, kNowMs), kNowMs, 4095);
    EXPECT_FALSE(NextIdSlot({kNowMs, 4095}, kNowMs).has_value());
}

TEST(IdSlot, OfAFullMillisecondIsAwaitedUntilTheClockHasGoneOn) {
    int looks = 0;
    const auto nowMs = [&looks] { return ++looks < 4 ? kNowMs : kNowMs + 1; };
    ExpectSlot(AwaitIdSlot({kNowMs, 4095}, nowMs), kNowMs + 1, 0);
    EXPECT_EQ(looks, 4);
}

TEST(IdSlot, IsThereAtTheFirstLookWhereTheMillisecondHasRoom) {
    int looks = 0;
    const auto nowMs = [&looks] { return kNowMs + looks++; };
    ExpectSlot(AwaitIdSlot({kNowMs, 4094}, nowMs), kNowMs, 4095);
    EXPECT_EQ(looks, 1);
}

TEST(IdSlot, AClockThatStepsBackCountsAfresh) {
    ExpectSlot(NextIdSlot({kNowMs, 7}, kNowMs - 1), kNowMs - 1, 0);
    ExpectSlot(NextIdSlot({kNowMs, 4095}, kNowMs - 1), kNowMs - 1, 0);
}

TEST(IdClock, IsTheWallClockOfItsMomentCarriedOnByTheSteadyClock) {
    const IdClock clock{kNowMs, 5000000};
    EXPECT_EQ(clock.At(5000000), kNowMs);
    EXPECT_EQ(clock.At(5999999), kNowMs);
    EXPECT_EQ(clock.At(6000000), kNowMs + 1);
    EXPECT_EQ(clock.At(6000001), kNowMs + 1);
}

TEST(IdClock, KeepsItsRateForDecades) {
    const IdClock clock{kNowMs, 17};
    EXPECT_EQ(clock.At(17 + 10000 * kDayNs), kNowMs + std::int64_t{10000} * 86400000);
}

TEST(MessageId, HoldsTimeDataCentreWorkerAndSequence) {
    EXPECT_EQ(MessageId({kEpochMs, 0}, 0, 0), "0");
    EXPECT_EQ(MessageId({kEpochMs, 1}, 0, 0), "1");
    EXPECT_EQ(MessageId({kEpochMs, 4095}, 0, 0), "4095");
    EXPECT_EQ(MessageId({kEpochMs, 0}, 0, 1), "4096");
    EXPECT_EQ(MessageId({kEpochMs, 0}, 0, 31), "126976");
    EXPECT_EQ(MessageId({kEpochMs, 0}, 1, 0), "131072");
    EXPECT_EQ(MessageId({kEpochMs, 0}, 31, 31), "4190208");
    EXPECT_EQ(MessageId({kEpochMs + 1, 0}, 0, 0), "4194304");
    EXPECT_EQ(MessageId({kEpochMs + 3, 5}, 1, 1), "12718085");
}

TEST(MessageId, OfAMillisecondBeforeTheEpochIsNegative) {
    EXPECT_EQ(MessageId({kEpochMs - 1, 0}, 0, 0), "-4194304");
    EXPECT_EQ(MessageId({0, 0}, 1, 1).front(), '-');
}

}  // namespace
}  // namespace data_report
