#include <algorithm>
#include <string>
#include <vector>

#include "integration/heartbeat/HeartbeatTest.h"
#include "integration/support/FloodingServer.h"
#include "integration/support/Relay.h"
#include "integration/support/Resident.h"
#include "platform/Log.h"
#include "support/LongForm.h"

namespace heartbeat_integration {
namespace {

using support::Blackhole;
using support::Eventually;
using support::FloodingServer;
using support::FreePort;
using support::Relay;
using support::SilentListener;

// What a server does to its own connection is not felt elsewhere: heartbeats are made, and come, every 3 s.

constexpr std::int64_t kLongestGapMs = 4000;  // a period, and one step of the clock that "ts" is read from

std::int64_t LongestGapMs(const std::vector<Json::Value>& reports) {
    std::int64_t longest = 0;
    for (std::size_t i = 1; i < reports.size(); ++i)
        longest = std::max(longest, reports[i]["ts"].asInt64() - reports[i - 1]["ts"].asInt64());
    return longest;
}

/// Reports on one connection that last as long as the main center needs for some attempts.
std::size_t EnoughReports() {
    return support::LongForm() ? 21 : 6;
}

class UndisturbedTest : public HeartbeatTest {
protected:
    void theBackupBeatsOn() {
        const std::size_t before = m_onBackup.on(kReports).size();
        ASSERT_TRUE(Eventually([&] { return m_onBackup.on(kReports).size() >= before + EnoughReports(); },
                               std::chrono::seconds(100)));
        EXPECT_LE(LongestGapMs(BodiesOn(m_onBackup, kReports)), kLongestGapMs);
        EXPECT_EQ(m_onBackup.on(kPresence).size(), 1U);
        EXPECT_EQ(FullReportsOn(m_onBackup).size(), 1U);
    }

    void theBackupBeatsWithMainAt(int port) {
        start(port, m_backup.port());
        theBackupBeatsOn();
        EXPECT_TRUE(m_onMain.on(kReports).empty());
    }
};

TEST_F(UndisturbedTest, TheBackupBeatsWhileTheMainServerIsBehindABlackhole) {
    Blackhole blackhole;
    theBackupBeatsWithMainAt(blackhole.port());
}

TEST_F(UndisturbedTest, TheBackupBeatsWhileTheMainServerRefuses) {
    theBackupBeatsWithMainAt(FreePort());
}

TEST_F(UndisturbedTest, TheBackupBeatsWhileTheMainServerAcceptsAndNeverAnswers) {
    SilentListener silent;
    theBackupBeatsWithMainAt(silent.port());
}

TEST_F(UndisturbedTest, TheBackupBeatsWhileTheMainConnectionFallsIntoABlackhole) {
    Relay relay(m_main.port());
    start(relay.port(), m_backup.port());
    ASSERT_TRUE(m_onMain.waitFor(kReports));
    relay.swallow(true);
    theBackupBeatsOn();
}

std::vector<Json::Value> Parsed(const std::vector<std::string>& texts) {
    std::vector<Json::Value> values(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_TRUE(ParseJson(texts[i], values[i])) << texts[i];
    return values;
}

// A thousand a second, each of which is logged for the host.
TEST_F(UndisturbedTest, HeartbeatsKeepTheirPeriodWhileAServerAsksAgainAndAgain) {
    SetLogSink([](void*, int, const char*) {}, nullptr);
    FloodingServer server(R"({"type":3})", std::chrono::milliseconds(100));
    start(server.port(), m_backup.port());
    ASSERT_TRUE(Eventually([&] { return server.heartbeats().size() >= 2; }));
    const long before = support::ResidentKiB();
    const std::size_t sent = server.sent();
    ASSERT_TRUE(Eventually([&] { return server.heartbeats().size() >= 2 + EnoughReports(); },
                           std::chrono::seconds(100)));
    const long taken = support::ResidentKiB() - before;
    EXPECT_TRUE(!support::kResidentTells || taken < 4000) << taken << " KiB";
    EXPECT_GT(server.sent() - sent, 1000U);
    const std::vector<Json::Value> reports = Parsed(server.heartbeats());
    EXPECT_LE(LongestGapMs(reports), kLongestGapMs);
    for (const Json::Value& report : reports)
        EXPECT_EQ(report["type"].asInt(), 1);
    EXPECT_LE(LongestGapMs(BodiesOn(m_onBackup, kReports)), kLongestGapMs);
}

}  // namespace
}  // namespace heartbeat_integration
