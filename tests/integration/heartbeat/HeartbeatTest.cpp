#include "integration/heartbeat/HeartbeatTest.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <thread>

#include "integration/support/Relay.h"
#include "platform/Log.h"
#include "support/LongForm.h"

namespace heartbeat_integration {
namespace {

using support::Eventually;
using support::Process;
using support::Relay;
using support::WireMessage;
using support::WireWatcher;

/// Counts the log lines that hold a text.
class LineCounter {
public:
    explicit LineCounter(const char* part) : m_part(part) { SetLogSink(&receive, this); }
    ~LineCounter() { SetLogSink(nullptr, nullptr); }
    LineCounter(const LineCounter&) = delete;
    LineCounter& operator=(const LineCounter&) = delete;
    int count() const { return m_count; }

private:
    static void receive(void* user, int, const char* line) {
        auto& self = *static_cast<LineCounter*>(user);
        if (std::strstr(line, self.m_part)) ++self.m_count;
    }
    const char* const m_part;
    std::atomic<int> m_count{0};
};

void ExpectKeptPeriod(const std::vector<Json::Value>& reports) {
    for (std::size_t i = 1; i < reports.size(); ++i) {
        const std::int64_t gap = reports[i]["ts"].asInt64() - reports[i - 1]["ts"].asInt64();
        EXPECT_GE(gap, 3000);
        EXPECT_LT(gap, 10000);
    }
}

TEST_F(HeartbeatTest, EachConnectionGetsAFullReportAtOnceThenKeepAlivesEveryThreeSeconds) {
    m_heartbeat.updateLiveID("session");
    startOnBoth();
    for (WireWatcher* watcher : {&m_onMain, &m_onBackup}) {
        ASSERT_TRUE(watcher->waitFor(kPresence));
        // One period would have to pass if the first report waited for its turn.
        ASSERT_TRUE(Eventually([&] { return !watcher->on(kReports).empty(); }, std::chrono::seconds(2)));
        EXPECT_EQ(BodiesOn(*watcher, kReports)[0]["sessionId"].asString(), "session");
    }
    for (WireWatcher* watcher : {&m_onMain, &m_onBackup}) {
        ASSERT_TRUE(watcher->waitFor(kReports, 3));
        const std::vector<Json::Value> reports = BodiesOn(*watcher, kReports);
        EXPECT_EQ(reports[0]["type"].asInt(), 1);
        EXPECT_EQ(FullReportsOn(*watcher).size(), 1U);
        EXPECT_EQ(KeysOf(reports[0]),
                  (std::set<std::string>{"ts", "order", "type", "sessionId", "liveStatus", "micStatus"}));
        EXPECT_EQ(KeysOf(reports[1]), (std::set<std::string>{"ts", "order", "type"}));
        ExpectKeptPeriod(reports);
    }
}

TEST_F(HeartbeatTest, AReportTravelsAsTheHeartbeatChannelsMessagesDo) {
    startOnBoth();
    ASSERT_TRUE(m_onMain.waitFor(kReports));
    const WireMessage report = m_onMain.on(kReports)[0];
    EXPECT_EQ(report.topic, ConnectionOf(report) + "/up/2");
    EXPECT_EQ(report.responseTopic, ConnectionOf(report) + "/down/2");
    EXPECT_EQ(report.contentType, "application/json");
    EXPECT_EQ(report.userProperties, "");
    EXPECT_EQ(report.payload, WriteCompactJson(BodyOf(report)));
}

TEST_F(HeartbeatTest, AChangeBringsOneFullReportOnEachConnection) {
    startOnBoth();
    ASSERT_TRUE(m_onMain.waitFor(kReports));
    ASSERT_TRUE(m_onBackup.waitFor(kReports));
    m_heartbeat.updateLiveStreamInfo("stream-1", 11, 1920, 1080, 1);
    m_heartbeat.updateliveStatus(true);
    for (WireWatcher* watcher : {&m_onMain, &m_onBackup}) {
        ASSERT_TRUE(WaitForFullReports(*watcher, 2));
        ExpectKeepAliveNext(*watcher);
        const Json::Value report = FullReportsOn(*watcher)[1];
        EXPECT_EQ(report["liveStatus"].asInt(), 1);
        EXPECT_EQ(report["liveInfo"]["streamName"].asString(), "stream-1");
        EXPECT_EQ(report["liveInfo"]["pushStatus"].asInt(), 2);
        EXPECT_FALSE(report.isMember("micInfo"));
    }
}

TEST_F(HeartbeatTest, CommandsLeaveInOrderOnTheMainConnectionOnly) {
    startOnBoth();
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(m_heartbeat.sendComand(i, R"({"say":"hello"})"));
    ASSERT_TRUE(m_onMain.waitFor(kCommands, 20));
    const std::vector<Json::Value> commands = BodiesOn(m_onMain, kCommands);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(commands[static_cast<std::size_t>(i)]["bizType"].asInt(), i);
        EXPECT_EQ(commands[static_cast<std::size_t>(i)]["data"].asString(), R"({"say":"hello"})");
    }
    EXPECT_TRUE(m_onBackup.on(kCommands).empty());
}

TEST_F(HeartbeatTest, CommandsGivenBeforeTheConnectionIsUpLeaveWhenItIs) {
    Relay relay(m_main.port());
    relay.refuse(true);
    start(relay.port(), m_backup.port());
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(m_heartbeat.sendComand(i, ""));
    ASSERT_TRUE(m_onBackup.waitFor(kReports));
    EXPECT_TRUE(m_heartbeat.isConnecting());
    EXPECT_TRUE(m_onMain.on(kCommands).empty());
    relay.refuse(false);
    ASSERT_TRUE(m_onMain.waitFor(kCommands, 3));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(BodiesOn(m_onMain, kCommands)[static_cast<std::size_t>(i)]["bizType"].asInt(), i);
}

TEST_F(HeartbeatTest, StopSendsAFinalReportOnEachConnection) {
    startOnBoth();
    ASSERT_TRUE(m_onMain.waitFor(kReports));
    ASSERT_TRUE(m_onBackup.waitFor(kReports));
    m_heartbeat.updateliveStatus(true);
    EXPECT_TRUE(stopHeartbeat());
    for (WireWatcher* watcher : {&m_onMain, &m_onBackup}) {
        ASSERT_TRUE(WaitForFullReports(*watcher, 2));
        EXPECT_EQ(FullReportsOn(*watcher)[1]["liveStatus"].asInt(), 1);
    }
    const std::size_t reports = m_onMain.on(kReports).size();
    Bas::CMsgCenterFactory::Inst()->Stop();
    ASSERT_TRUE(m_onMain.waitFor(kPresence, 2));
    EXPECT_EQ(m_onMain.on(kPresence)[1].payload, R"({"online":false})");
    EXPECT_EQ(m_onMain.on(kReports).size(), reports);
    EXPECT_EQ(TypesOn(m_onMain).back(), 1);
}

TEST_F(HeartbeatTest, AStoppedHeartbeatStartsAgainOnTheSameConnections) {
    startOnBoth();
    ASSERT_TRUE(m_onMain.waitFor(kReports));
    EXPECT_TRUE(stopHeartbeat());
    int mode = 0;
    ASSERT_EQ(LiveHeartReportManager::GetInstance()->startLiveheart("{}", mode), 1);
    ASSERT_TRUE(WaitForFullReports(m_onMain, 2));
    EXPECT_EQ(m_onMain.on(kPresence).size(), 1U);
}

TEST_F(HeartbeatTest, BothConnectionsWorkOnOneServer) {
    start(m_main.port(), 0);
    ASSERT_TRUE(WaitForFullReports(m_onMain, 2));
    std::set<std::string> connections;
    for (const WireMessage& report : m_onMain.on(kReports))
        connections.insert(ConnectionOf(report));
    EXPECT_EQ(connections.size(), 2U);
}

TEST_F(HeartbeatTest, ARequestOfTypeThreeBringsAFullReport) {
    startOnBoth();
    ASSERT_TRUE(m_onMain.waitFor(kReports));
    const std::string down = m_onMain.on(kReports)[0].responseTopic;
    for (const std::string& ignored :
         {std::string(R"({"type":2})"), std::string("no json"), std::string(10000, '['),
          std::string("\xff\0\xfe", 3), std::string(1024 * 1024, 'x')})
        support::Publish(m_main, down, ignored);
    support::Publish(m_main, down, R"({"type":3})");
    ASSERT_TRUE(WaitForFullReports(m_onMain, 2));
    ExpectKeepAliveNext(m_onMain);
    EXPECT_EQ(FullReportsOn(m_onBackup).size(), 1U);
}

TEST_F(HeartbeatTest, RequestsThatAreNotOfTypeThreeBringNoFullReport) {
    startOnBoth();
    ASSERT_TRUE(m_onMain.waitFor(kReports));
    const std::string down = m_onMain.on(kReports)[0].responseTopic;
    for (const std::string& ignored :
         {std::string(R"({"type":2})"), std::string("no json"), std::string(10000, '[')})
        support::Publish(m_main, down, ignored);
    ExpectKeepAliveNext(m_onMain);
    EXPECT_EQ(FullReportsOn(m_onMain).size(), 1U);
}

TEST_F(HeartbeatTest, AConnectionThatIsCutBringsAFullReportWhenItIsBack) {
    Relay relay(m_main.port());
    start(relay.port(), m_backup.port());
    ASSERT_TRUE(m_onMain.waitFor(kReports));
    relay.cut();
    ASSERT_TRUE(WaitForFullReports(m_onMain, 2));
    ExpectKeepAliveNext(m_onBackup);
    EXPECT_EQ(FullReportsOn(m_onBackup).size(), 1U);
}

TEST_F(HeartbeatTest, AServerThatIsKilledAndRestartedGetsAFullReport) {
    const LineCounter fullReports("isMain:main sender bRet:1");
    startOnBoth();
    ASSERT_TRUE(Eventually([&] { return fullReports.count() == 1; }));
    m_main.kill();
    ASSERT_TRUE(m_onBackup.waitFor(kReports, 2));
    EXPECT_TRUE(m_heartbeat.isConnecting());
    m_main.restart();
    WireWatcher again(m_main);
    ASSERT_TRUE(Eventually([&] { return fullReports.count() == 2; }));
    ASSERT_TRUE(again.waitFor(kReports));
}

/// A host that is another process.
class OtherHost {
public:
    OtherHost(int mainPort, int backupPort, const std::string& ending, int keepAliveSeconds = 15)
        : m_process({HEARTBEAT_HOST, std::to_string(mainPort), std::to_string(backupPort), ending,
                     std::to_string(keepAliveSeconds)},
                    "", "") {}
    void kill() { m_process.end(SIGKILL); }
    void freeze() { m_process.signal(SIGSTOP); }
    void thaw() { m_process.signal(SIGCONT); }
    int wait() { return m_process.wait(); }

private:
    Process m_process;
};

TEST_F(HeartbeatTest, AKilledHostBringsTheLastWillOfEachConnection) {
    OtherHost host(m_main.port(), m_backup.port(), "never");
    ASSERT_TRUE(m_onMain.waitFor(kReports));
    ASSERT_TRUE(m_onBackup.waitFor(kReports));
    host.kill();
    for (WireWatcher* watcher : {&m_onMain, &m_onBackup}) {
        ASSERT_TRUE(watcher->waitFor(kPresence, 2));
        EXPECT_EQ(watcher->on(kPresence)[0].payload, R"({"online":true})");
        EXPECT_EQ(watcher->on(kPresence)[1].payload, R"({"online":false})");
    }
}

/// The reports that came after the first last will.
std::vector<Json::Value> ReportsAfterTheWill(WireWatcher& watcher) {
    std::vector<Json::Value> reports;
    bool dead = false;
    for (const WireMessage& message : watcher.messages()) {
        dead = dead || message.payload == R"({"online":false})";
        const bool isReport = message.topic == ConnectionOf(message) + kReports;
        if (dead && isReport) reports.push_back(BodyOf(message));
    }
    return reports;
}

// As a laptop's lid or a debugger does; the brokers give it up after seven seconds. Sleeps: the time is what
// it is about.
TEST_F(HeartbeatTest, AHostThatStoodStillComesBackWithAFullReport) {
    const auto asleep = std::chrono::seconds(support::LongForm() ? 60 : 10);
    OtherHost host(m_main.port(), m_backup.port(), "never", 5);
    ASSERT_TRUE(m_onMain.waitFor(kReports, 2));
    ASSERT_TRUE(m_onBackup.waitFor(kReports, 2));
    host.freeze();
    const auto wake = std::chrono::steady_clock::now() + asleep;
    for (WireWatcher* watcher : {&m_onMain, &m_onBackup})
        ASSERT_TRUE(watcher->waitFor(kPresence, 2));
    std::this_thread::sleep_until(wake);
    host.thaw();
    for (WireWatcher* watcher : {&m_onMain, &m_onBackup}) {
        ASSERT_TRUE(watcher->waitFor(kPresence, 3));
        EXPECT_EQ(watcher->on(kPresence)[2].payload, R"({"online":true})");
        ASSERT_TRUE(Eventually([&] { return ReportsAfterTheWill(*watcher).size() >= 3; }));
        const std::vector<Json::Value> reports = ReportsAfterTheWill(*watcher);
        EXPECT_EQ(reports[0]["type"].asInt(), 1);
        EXPECT_EQ(reports[1]["type"].asInt(), 2);
        EXPECT_EQ(reports[2]["type"].asInt(), 2);
    }
}

TEST_F(HeartbeatTest, AHostMayEndWithEverythingRunningAndConnected) {
    for (std::size_t i = 1; i <= 5; ++i) {
        OtherHost host(m_main.port(), m_backup.port(), "when-connected");
        EXPECT_EQ(host.wait(), 0);
        ASSERT_TRUE(m_onMain.waitFor(kPresence, 2 * i));
        EXPECT_EQ(m_onMain.on(kPresence).back().payload, R"({"online":false})");
    }
}

TEST_F(HeartbeatTest, AHostMayEndWhileItIsConnecting) {
    for (int i = 0; i < 5; ++i) {
        OtherHost host(m_main.port(), m_backup.port(), "at-once");
        EXPECT_EQ(host.wait(), 0);
    }
}

}  // namespace
}  // namespace heartbeat_integration
