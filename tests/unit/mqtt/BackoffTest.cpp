#include "mqtt/Backoff.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <set>
#include <utility>
#include <vector>

using QoPlayer::mqtt::Backoff;

namespace {

/// The longest and the shortest pause that `draw` gives over many seeds; the ceiling and zero, but for a few.
template <class Draw>
std::pair<std::int64_t, std::int64_t> Range(std::int64_t longestPauseMs, const Draw& draw) {
    std::int64_t longest = 0;
    std::int64_t shortest = longestPauseMs;
    for (std::uint64_t seed = 0; seed < 5000; ++seed) {
        Backoff backoff(longestPauseMs, seed);
        const std::int64_t pause = draw(backoff);
        longest = std::max(longest, pause);
        shortest = std::min(shortest, pause);
    }
    return {longest, shortest};
}

/// That pauses are drawn from zero to `ceiling`.
template <class Draw>
void ExpectCeiling(std::int64_t ceiling, std::int64_t longestPauseMs, const Draw& draw) {
    const auto [longest, shortest] = Range(longestPauseMs, draw);
    EXPECT_LE(longest, ceiling);
    EXPECT_GE(longest, ceiling - ceiling / 100);
    EXPECT_GE(shortest, 0);
    EXPECT_LE(shortest, ceiling / 100);
}

/// The next pause after `rounds` without a connection.
auto PauseAfter(int rounds) {
    return [rounds](Backoff& backoff) {
        for (int i = 0; i < rounds; ++i)
            backoff.nextPauseMs();
        return backoff.nextPauseMs();
    };
}

TEST(Backoff, CeilingDoublesFromHalfASecondToTheLongestPause) {
    const std::vector<std::int64_t> ceilings{500, 1000, 2000, 3000, 3000};
    for (std::size_t i = 0; i < ceilings.size(); ++i)
        ExpectCeiling(ceilings[i], 3000, PauseAfter(static_cast<int>(i)));
}

TEST(Backoff, PausesAreDrawnEvenly) {
    Backoff backoff(500, 7);
    std::vector<std::int64_t> pauses;
    for (int i = 0; i < 10'000; ++i)
        pauses.push_back(backoff.nextPauseMs());
    const std::int64_t sum = std::accumulate(pauses.begin(), pauses.end(), std::int64_t{0});
    EXPECT_NEAR(static_cast<double>(sum) / 10'000, 250.0, 10.0);
}

TEST(Backoff, BothEndsOfTheRangeAreDrawn) {
    Backoff backoff(3, 1);
    std::set<std::int64_t> pauses;
    for (int i = 0; i < 1000; ++i)
        pauses.insert(backoff.nextPauseMs());
    EXPECT_EQ(pauses, (std::set<std::int64_t>{0, 1, 2, 3}));
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
    ExpectCeiling(500, 30'000, [](Backoff& backoff) {
        PauseAfter(4)(backoff);
        backoff.reset();
        return backoff.nextPauseMs();
    });
}

TEST(Backoff, AfterAConnectionThatServedTheCeilingIsHalfAsHigh) {
    const std::vector<std::int64_t> ceilings{2000, 1000, 500, 500};
    for (std::size_t i = 0; i < ceilings.size(); ++i)
        ExpectCeiling(ceilings[i], 30'000, [i](Backoff& backoff) {
            PauseAfter(2)(backoff);  // the next one could be 4 s
            for (std::size_t earlier = 0; earlier < i; ++earlier)
                backoff.pauseAfterServingMs();
            return backoff.pauseAfterServingMs();
        });
}

TEST(Backoff, AfterAConnectionThatServedTheNextCeilingDoublesAgain) {
    ExpectCeiling(4000, 30'000, [](Backoff& backoff) {
        PauseAfter(2)(backoff);
        backoff.pauseAfterServingMs();
        backoff.nextPauseMs();
        return backoff.nextPauseMs();
    });
}

TEST(Backoff, ALongestPauseBelowHalfASecondIsTheCeiling) {
    for (const int rounds : {0, 1})
        ExpectCeiling(100, 100, PauseAfter(rounds));
    ExpectCeiling(100, 100, [](Backoff& backoff) { return backoff.pauseAfterServingMs(); });
}

}  // namespace
