#include <chrono>
#include <thread>

#include "fakes/CapturingLog.h"
#include "support/WallClock.h"
#include "unit/data_report/ManagerUnderTest.h"

namespace data_report {
namespace {

class Collection : public ManagerUnderTest {
protected:
    std::uint64_t lastTickMs(const std::string& id) {
        const auto report = m_peer.report(id);
        return StreamQualityReportTestPeer{*report}.lastTickMs();
    }
};

TEST_F(Collection, AStreamStartedBetweenTwoTicksGetsItsFirstAtTheNext) {
    start();
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));  // a tick without any stream has passed
    startEventsOnly("a");
    acceptStreams();
    const auto accepted = DataReportManager::GetTickCountMs();
    ASSERT_TRUE(Eventually([this] { return lastTickMs("a") != 0; }));
    EXPECT_GE(lastTickMs("a"), accepted);
    EXPECT_LT(lastTickMs("a"), accepted + 5000);
}

TEST_F(Collection, TicksComeEverySecond) {
    start();
    startEventsOnly("a");
    acceptStreams();
    ASSERT_TRUE(Eventually([this] { return lastTickMs("a") != 0; }));
    const auto first = lastTickMs("a");
    ASSERT_TRUE(Eventually([&] { return lastTickMs("a") != first; }));
    EXPECT_GE(lastTickMs("a"), first + 990);
}

TEST_F(Collection, TheTickOfARegistryWithoutStreamsDoesNothing) {
    m_peer.enableWithoutThreads();
    const fakes::CapturingLog log;
    m_peer.tick();
    EXPECT_TRUE(m_peer.takeQueued().empty());
    startEventsOnly("a");
    const auto stopped = m_peer.report("a");
    Accept(*stopped);
    m_manager.ReportStop("a");
    m_peer.tick();
    EXPECT_EQ(StreamQualityReportTestPeer{*stopped}.lastTickMs(), 0U);
    EXPECT_TRUE(m_peer.ids().empty());
    EXPECT_TRUE(m_peer.takeQueued().empty());
    EXPECT_EQ(log.lines().size(), 1U);  // the acceptance
}

TEST_F(Collection, EveryReportOfATickGetsTheSameTime) {
    m_peer.enableWithoutThreads();
    for (const char* id : {"a", "b", "c"}) {
        startEventsOnly(id);
        Accept(*m_peer.report(id));
    }
    const auto before = DataReportManager::GetTickCountMs();
    m_peer.tick();
    EXPECT_GE(lastTickMs("a"), before);
    EXPECT_EQ(lastTickMs("b"), lastTickMs("a"));
    EXPECT_EQ(lastTickMs("c"), lastTickMs("a"));
}

TEST_F(Collection, ATickPassesTheConfiguredSecond) {
    m_peer.enableWithoutThreads();
    startEventsOnly("a");
    Accept(*m_peer.report("a"));
    m_peer.tick();
    m_peer.tick();
    EXPECT_EQ(StreamQualityReportTestPeer{*m_peer.report("a")}.elapsedSec(), 2U);
}

TEST_F(Collection, SixtyTicksOfAnAcceptedStreamQueueItsQualityRecord) {
    m_peer.enableWithoutThreads();
    startSampled("a");
    Accept(*m_peer.report("a"));
    for (int i = 0; i < 60; ++i) {
        m_manager.AddReportData("a", DataTypeEnum::VideoFramesSent, 30);
        m_peer.tick();
    }
    const auto queued = m_peer.takeQueued();
    ASSERT_EQ(queued.size(), 1U);
    for (const Json::Value& sample : queued[0].record["streams"])
        EXPECT_EQ(sample["vsFps"].asUInt(), 30U);
}

TEST_F(Collection, GetTickCountMsAgreesWithTheWallClock) {
    const std::int64_t before = support::WallMs();
    const auto ms = static_cast<std::int64_t>(DataReportManager::GetTickCountMs());
    EXPECT_GE(ms, before);
    EXPECT_LE(ms, support::WallMs());
}

}  // namespace
}  // namespace data_report
