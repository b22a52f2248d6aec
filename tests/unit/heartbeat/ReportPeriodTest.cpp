#include "heartbeat/ReportPeriod.h"

#include <gtest/gtest.h>

#include <limits>

namespace live_heartbeat {
namespace {

constexpr std::int64_t kLastMs = 1700000000000;
constexpr std::int32_t kPeriodMs = 3000;

struct Turn {
    bool isDue;
    std::int64_t lastMs;
};

Turn TurnAt(std::int64_t nowMs, std::int64_t lastMs) {
    const bool isDue = IsReportDue(nowMs, kPeriodMs, lastMs);
    return {isDue, lastMs};
}

void ExpectTurn(const Turn& turn, bool isDue, std::int64_t lastMs) {
    EXPECT_EQ(turn.isDue, isDue);
    EXPECT_EQ(turn.lastMs, lastMs);
}

TEST(ReportPeriod, TheFirstReportIsDueAtOnce) {
    ExpectTurn(TurnAt(kLastMs, kNeverReported), true, kLastMs);
    ExpectTurn(TurnAt(0, kNeverReported), true, 0);
    ExpectTurn(TurnAt(-5, kNeverReported), true, -5);
}

TEST(ReportPeriod, ALaterReportIsDueWhenThePeriodHasPassed) {
    ExpectTurn(TurnAt(kLastMs, kLastMs), false, kLastMs);
    ExpectTurn(TurnAt(kLastMs + 2999, kLastMs), false, kLastMs);
    ExpectTurn(TurnAt(kLastMs + 3000, kLastMs), true, kLastMs);
    ExpectTurn(TurnAt(kLastMs + 3001, kLastMs), true, kLastMs);
}

TEST(ReportPeriod, AReportAtZeroCountsAsOne) {
    ExpectTurn(TurnAt(2999, 0), false, 0);
    ExpectTurn(TurnAt(3000, 0), true, 0);
}

TEST(ReportPeriod, AClockThatStepsBackSkipsATurnAndStartsThePeriodAgain) {
    ExpectTurn(TurnAt(kLastMs - 1, kLastMs), false, kLastMs - 1);
    ExpectTurn(TurnAt(kLastMs - 5000, kLastMs), false, kLastMs - 5000);
    ExpectTurn(TurnAt(-1, 0), false, -1);
}

TEST(ReportPeriod, ATimeBefore1970IsNoneToGoBy) {
    ExpectTurn(TurnAt(kLastMs, -2), false, kLastMs);
    ExpectTurn(TurnAt(-2, -2), false, -2);
}

TEST(ReportPeriod, TheEndsOfTimeDoNotOverflow) {
    constexpr auto kEarliest = std::numeric_limits<std::int64_t>::min();
    constexpr auto kLatest = std::numeric_limits<std::int64_t>::max();
    ExpectTurn(TurnAt(kLatest, 0), true, 0);
    ExpectTurn(TurnAt(kEarliest, kLatest), false, kEarliest);
    ExpectTurn(TurnAt(kLatest, kEarliest), false, kLatest);
}

}  // namespace
}  // namespace live_heartbeat
