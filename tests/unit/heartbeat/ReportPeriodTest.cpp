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

Turn turnAt(std::int64_t nowMs, std::int64_t lastMs) {
    const bool isDue = IsReportDue(nowMs, kPeriodMs, lastMs);
    return {isDue, lastMs};
}

void expectTurn(const Turn& turn, bool isDue, std::int64_t lastMs) {
    EXPECT_EQ(turn.isDue, isDue);
    EXPECT_EQ(turn.lastMs, lastMs);
}

TEST(ReportPeriod, TheFirstReportIsDueAtOnce) {
    expectTurn(turnAt(kLastMs, kNeverReported), true, kLastMs);
    expectTurn(turnAt(0, kNeverReported), true, 0);
    expectTurn(turnAt(-5, kNeverReported), true, -5);
}

TEST(ReportPeriod, ALaterReportIsDueWhenThePeriodHasPassed) {
    expectTurn(turnAt(kLastMs, kLastMs), false, kLastMs);
    expectTurn(turnAt(kLastMs + 2999, kLastMs), false, kLastMs);
    expectTurn(turnAt(kLastMs + 3000, kLastMs), true, kLastMs);
    expectTurn(turnAt(kLastMs + 3001, kLastMs), true, kLastMs);
}

TEST(ReportPeriod, AReportAtZeroCountsAsOne) {
    expectTurn(turnAt(2999, 0), false, 0);
    expectTurn(turnAt(3000, 0), true, 0);
}

TEST(ReportPeriod, AClockThatStepsBackSkipsATurnAndStartsThePeriodAgain) {
    expectTurn(turnAt(kLastMs - 1, kLastMs), false, kLastMs - 1);
    expectTurn(turnAt(kLastMs - 5000, kLastMs), false, kLastMs - 5000);
    expectTurn(turnAt(-1, 0), false, -1);
}

TEST(ReportPeriod, ATimeBefore1970IsNoneToGoBy) {
    expectTurn(turnAt(kLastMs, -2), false, kLastMs);
    expectTurn(turnAt(-2, -2), false, -2);
}

TEST(ReportPeriod, TheEndsOfTimeDoNotOverflow) {
    constexpr auto kEarliest = std::numeric_limits<std::int64_t>::min();
    constexpr auto kLatest = std::numeric_limits<std::int64_t>::max();
    expectTurn(turnAt(kLatest, 0), true, 0);
    expectTurn(turnAt(kEarliest, kLatest), false, kEarliest);
    expectTurn(turnAt(kLatest, kEarliest), false, kLatest);
}

}  // namespace
}  // namespace live_heartbeat
