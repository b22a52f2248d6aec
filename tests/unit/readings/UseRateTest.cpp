#include "readings/ProcessorUse.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

constexpr std::uint64_t kMs = 1'000'000;

ReadingTime At(int ms) {
    return ReadingTime() + milliseconds(ms);
}

std::shared_ptr<const ProcessList> List(int ms, std::vector<ProcessTime> processes, unsigned processors = 2) {
    return std::make_shared<const ProcessList>(ProcessList{At(ms), processors, std::move(processes)});
}

TEST(SystemUseRate, IsTheShareOfBusyTimeSinceTheReadingBefore) {
    SystemUseRate rate;
    rate.start({1000, 5000}, At(0));
    EXPECT_EQ(rate.next({1050, 5200}, At(1000)), 25);
    EXPECT_EQ(rate.next({1250, 5400}, At(2000)), 100);
    EXPECT_EQ(rate.next({1250, 5600}, At(3000)), 0);
}

TEST(SystemUseRate, AReadingWithoutAStartStartsTheMeasurement) {
    SystemUseRate rate;
    EXPECT_EQ(rate.next({1000, 5000}, At(0)), 0);
    EXPECT_EQ(rate.next({1100, 5200}, At(1000)), 50);
}

TEST(SystemUseRate, AReadingTooSoonRepeatsTheResultAndIsCoveredByTheNext) {
    SystemUseRate rate;
    rate.start({0, 0}, At(0));
    EXPECT_EQ(rate.next({50, 200}, At(1000)), 25);
    EXPECT_EQ(rate.next({60, 210}, At(1099)), 25);
    EXPECT_EQ(rate.next({150, 300}, At(1100)), 100);
}

TEST(SystemUseRate, OneHundredMillisecondsAreLongEnoughAndOneLessIsNot) {
    SystemUseRate rate;
    rate.start({0, 0}, At(0));
    EXPECT_EQ(rate.next({99, 99}, At(99)), 0);
    EXPECT_EQ(rate.next({99, 99}, At(100)), 100);
    EXPECT_EQ(rate.next({99, 199}, At(199)), 100);
    EXPECT_EQ(rate.next({99, 199}, At(200)), 0);
}

TEST(SystemUseRate, WithoutTimeCountedItIsZero) {
    SystemUseRate rate;
    rate.start({10, 20}, At(0));
    EXPECT_EQ(rate.next({10, 20}, At(1000)), 0);
}

TEST(SystemUseRate, CountersThatStepBackGiveASaneNumber) {
    SystemUseRate rate;
    rate.start({100, 500}, At(0));
    EXPECT_EQ(rate.next({90, 600}, At(1000)), 0);
    EXPECT_EQ(rate.next({190, 550}, At(2000)), 0);
    EXPECT_EQ(rate.next({240, 650}, At(3000)), 50);
}

TEST(SystemUseRate, StartingAgainForgetsWhatWasBefore) {
    SystemUseRate rate;
    rate.start({0, 0}, At(0));
    EXPECT_EQ(rate.next({100, 200}, At(1000)), 50);
    rate.start({1000, 2000}, At(2000));
    EXPECT_EQ(rate.next({1000, 2000}, At(2000)), 0);
    EXPECT_EQ(rate.next({1010, 2100}, At(3000)), 10);
}

TEST(ProcessUseRate, TheFirstReadingOnlyStartsTheMeasurement) {
    ProcessUseRate rate;
    EXPECT_EQ(rate.next(List(0, {{1, 7, 900 * kMs}})), 0);
}

TEST(ProcessUseRate, IsTheShareOfAllProcessors) {
    ProcessUseRate rate;
    rate.next(List(0, {{1, 7, 0}}));
    EXPECT_EQ(rate.next(List(1000, {{1, 7, 1000 * kMs}})), 50);
    EXPECT_EQ(rate.next(List(2000, {{1, 7, 1000 * kMs}})), 0);
    EXPECT_EQ(rate.next(List(3000, {{1, 7, 3000 * kMs}})), 100);
}

TEST(ProcessUseRate, AMissingProcessUsesNothing) {
    ProcessUseRate rate;
    EXPECT_EQ(rate.next(List(0, {})), 0);
    EXPECT_EQ(rate.next(List(1000, {})), 0);
}

TEST(ProcessUseRate, SeveralProcessesOfTheNameCountTogether) {
    ProcessUseRate rate;
    rate.next(List(0, {{1, 7, 0}, {2, 8, 500 * kMs}}, 4));
    EXPECT_EQ(rate.next(List(1000, {{2, 8, 1000 * kMs}, {1, 7, 500 * kMs}}, 4)), 25);
}

TEST(ProcessUseRate, AProcessCountsFromTheReadingThatFirstSawIt) {
    ProcessUseRate rate;
    rate.next(List(0, {}));
    EXPECT_EQ(rate.next(List(1000, {{1, 7, 900 * kMs}})), 0);
    EXPECT_EQ(rate.next(List(2000, {{1, 7, 1900 * kMs}})), 50);
}

TEST(ProcessUseRate, AProcessThatEndedNoLongerCounts) {
    ProcessUseRate rate;
    rate.next(List(0, {{1, 7, 0}, {2, 8, 0}}));
    EXPECT_EQ(rate.next(List(1000, {{1, 7, 400 * kMs}})), 20);
    EXPECT_EQ(rate.next(List(2000, {})), 0);
}

TEST(ProcessUseRate, ANumberThatIsUsedAgainIsAnotherProcess) {
    ProcessUseRate rate;
    rate.next(List(0, {{1, 7, 100 * kMs}}));
    EXPECT_EQ(rate.next(List(1000, {{1, 9, 900 * kMs}})), 0);
    EXPECT_EQ(rate.next(List(2000, {{1, 9, 1100 * kMs}})), 10);
}

TEST(ProcessUseRate, AReadingTooSoonRepeatsTheResultAndIsCoveredByTheNext) {
    ProcessUseRate rate;
    rate.next(List(0, {{1, 7, 0}}));
    EXPECT_EQ(rate.next(List(1000, {{1, 7, 200 * kMs}})), 10);
    EXPECT_EQ(rate.next(List(1099, {{1, 7, 299 * kMs}})), 10);
    EXPECT_EQ(rate.next(List(1100, {{1, 7, 300 * kMs}})), 50);
}

TEST(ProcessUseRate, OneHundredMillisecondsAreLongEnoughAndOneLessIsNot) {
    ProcessUseRate rate;
    rate.next(List(0, {{1, 7, 0}}, 1));
    EXPECT_EQ(rate.next(List(99, {{1, 7, 50 * kMs}}, 1)), 0);
    EXPECT_EQ(rate.next(List(100, {{1, 7, 50 * kMs}}, 1)), 50);
}

TEST(ProcessUseRate, CoarseCountersNeverReadAsMoreThanOneHundred) {
    ProcessUseRate rate;
    rate.next(List(0, {{1, 7, 0}}, 1));
    EXPECT_EQ(rate.next(List(101, {{1, 7, 110 * kMs}}, 1)), 100);
}

TEST(ProcessUseRate, TimesThatStepBackCountAsNothing) {
    ProcessUseRate rate;
    rate.next(List(0, {{1, 7, 500 * kMs}}));
    EXPECT_EQ(rate.next(List(1000, {{1, 7, 400 * kMs}})), 0);
}

}  // namespace
