#include "mqtt/Backoff.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

using QoPlayer::mqtt::Backoff;

namespace {

TEST(Backoff, CeilingDoublesFromHalfASecondToTheLongestPause) {
    Backoff backoff(3000, 1);
    std::vector<std::int64_t> ceilings;
    for (int i = 0; i < 5; ++i) {
        ceilings.push_back(backoff.ceilingMs());
        backoff.nextPauseMs();
    }
    EXPECT_EQ(ceilings, (std::vector<std::int64_t>{500, 1000, 2000, 3000, 3000}));
}

TEST(Backoff, APauseIsNeverAboveItsCeilingNorBelowZero) {
    Backoff backoff(60'000, 42);
    for (int i = 0; i < 10'000; ++i) {
        const std::int64_t ceiling = backoff.ceilingMs();
        const std::int64_t pause = backoff.nextPauseMs();
        ASSERT_GE(pause, 0);
        ASSERT_LE(pause, ceiling);
    }
}

TEST(Backoff, PausesUseTheWholeRange) {
    Backoff backoff(500, 7);
    std::vector<std::int64_t> pauses;
    for (int i = 0; i < 10'000; ++i)
        pauses.push_back(backoff.nextPauseMs());
    EXPECT_LE(*std::min_element(pauses.begin(), pauses.end()), 5);
    EXPECT_GE(*std::max_element(pauses.begin(), pauses.end()), 495);
    const std::int64_t sum = std::accumulate(pauses.begin(), pauses.end(), std::int64_t{0});
    EXPECT_NEAR(static_cast<double>(sum) / 10'000, 250.0, 10.0);
}

TEST(Backoff, TheSameSeedGivesTheSamePauses) {
    Backoff one(30'000, 5);
    Backoff two(30'000, 5);
    Backoff other(30'000, 6);
    bool differs = false;
    for (int i = 0; i < 20; ++i) {
        const std::int64_t pause = one.nextPauseMs();
        EXPECT_EQ(pause, two.nextPauseMs());
        differs = differs || pause != other.nextPauseMs();
    }
    EXPECT_TRUE(differs);
}

TEST(Backoff, ResetStartsAgainAtHalfASecond) {
    Backoff backoff(30'000, 1);
    for (int i = 0; i < 4; ++i)
        backoff.nextPauseMs();
    backoff.reset();
    EXPECT_EQ(backoff.ceilingMs(), 500);
}

TEST(Backoff, AfterAConnectionThatServedTheCeilingIsHalfAsHigh) {
    Backoff backoff(30'000, 1);
    for (int i = 0; i < 3; ++i)
        backoff.nextPauseMs();
    ASSERT_EQ(backoff.ceilingMs(), 4000);
    for (const std::int64_t ceiling : {2000, 1000, 500, 500}) {
        EXPECT_LE(backoff.pauseAfterServingMs(), ceiling);
        EXPECT_EQ(backoff.ceilingMs(), ceiling);
    }
}

TEST(Backoff, AfterAConnectionThatServedTheCeilingStaysBelowTheLongestPause) {
    Backoff backoff(100, 1);
    EXPECT_LE(backoff.pauseAfterServingMs(), 100);
    EXPECT_EQ(backoff.ceilingMs(), 100);
}

TEST(Backoff, ALongestPauseBelowHalfASecondIsTheCeiling) {
    Backoff backoff(100, 1);
    EXPECT_EQ(backoff.ceilingMs(), 100);
    backoff.nextPauseMs();
    EXPECT_EQ(backoff.ceilingMs(), 100);
}

}  // namespace
