#include <cstdlib>
#include <optional>

#include "fakes/HeldSleep.h"
#include "fakes/Waits.h"
#include "unit/data_report/ManagerUnderTest.h"

// How long the threads pause and wait, and what wakes them.

namespace data_report {
namespace {

class RetryPause : public ManagerUnderTest {};

TEST_F(RetryPause, IsTwoHundredMillisecondsAfterEachRefusal) {
    startConnected();
    m_center.sendFails(kStreamCommand);
    fakes::HeldSleep sleep;
    EXPECT_TRUE(send("1"));
    ASSERT_TRUE(sleep.waitForSleeper());
    for (int attempts = 1; attempts <= 3; ++attempts) {
        EXPECT_EQ(m_center.sendAttempts(kStreamCommand), attempts);
        ASSERT_TRUE(sleep.letOneEnd());
    }
    EXPECT_EQ(sleep.asked(), std::vector<DWORD>(4, 200));
}

TEST_F(RetryPause, DoesNotComeBetweenRecordsThatAreAccepted) {
    start();
    fakes::HeldSleep sleep;
    for (const char* text : {"1", "2", "3"})
        EXPECT_TRUE(send(text));
    ASSERT_TRUE(m_center.connect(kStreamCommand));
    EXPECT_EQ(sentSoFar().size(), 3U);
    EXPECT_TRUE(sleep.asked().empty());
}

std::optional<StreamQualityReport> SampledStream() {
    const auto data = std::make_shared<StreamQulityData>("id", StreamTypeEnum::Sampled);
    return std::optional<StreamQualityReport>(std::in_place, "id", StreamTypeEnum::Sampled, data);
}

TEST(PingWait, IsThreeSeconds) {
    const auto report = SampledStream();
    ASSERT_TRUE(Eventually([] { return !fakes::TimedWaits().empty(); }));
    EXPECT_LE(fakes::TimedWaits().front(), 3000);
    EXPECT_GT(fakes::TimedWaits().front(), 2000);  // a thread may be stopped before its wait begins
}

// The time is what is at stake: a stream that misses its wake-up ends three seconds later.
TEST(PingWait, EndsAtOnceWhenTheStreamGoesAsItBegins) {
    const fakes::LateWaits late(200);
    auto report = SampledStream();
    ASSERT_TRUE(late.waitForWaiter());
    const auto asked = std::chrono::steady_clock::now();
    report.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::milliseconds(2700));
}

// The wait begins so late that its time is over by then.
TEST(PingWait, ThatRunsOutAsTheStreamGoesIsFollowedByNoPing) {
    const auto data = std::make_shared<StreamQulityData>("id", StreamTypeEnum::Sampled);
    data->SetString(StringDataTypeEnum::ServerIp, "server");
    const fakes::LateWaits late(3300);
    {
        const StreamQualityReport report("id", StreamTypeEnum::Sampled, data);
        ASSERT_TRUE(late.waitForWaiter());
    }
    EXPECT_TRUE(fakes::PingedHosts().empty());
}

TEST(SendThread, IsWokenByAProcessEndThatComesAsItsWaitBegins) {
    EXPECT_EXIT(
        {
            const fakes::LateWaits late(200);
            if (!DataReportManager::Instance().Init() || !late.waitForWaiter()) std::_Exit(2);
            DataReportManagerTestPeer{DataReportManager::Instance()}.endSendThread();
            std::_Exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace data_report
