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

void expectKeptPeriod(const std::vector<Json::Value>& reports) {
    for (std::size_t i = 1; i < reports.size(); ++i) {
        const std::int64_t gap = reports[i]["ts"].asInt64() - reports[i - 1]["ts"].asInt64();
        EXPECT_GE(gap, 3000);
        EXPECT_LT(gap, 10000);
    }
}

TEST_F(HeartbeatTest, EachConnectionGetsAFullReportAtOnceThenKeepAlivesEveryThreeSeconds) {
    heartbeat.updateLiveID("session");
    startOnBoth();
    for (WireWatcher* watcher : {&onMain, &onBackup}) {
        ASSERT_TRUE(watcher->waitFor(kPresence));
        // One period would have to pass if the first report waited for its turn.
        ASSERT_TRUE(Eventually([&] { return !watcher->on(kReports).empty(); }, std::chrono::seconds(2)));
        EXPECT_EQ(bodiesOn(*watcher, kReports)[0]["sessionId"].asString(), "session");
    }
    for (WireWatcher* watcher : {&onMain, &onBackup}) {
        ASSERT_TRUE(watcher->waitFor(kReports, 3));
        const std::vector<Json::Value> reports = bodiesOn(*watcher, kReports);
        EXPECT_EQ(reports[0]["type"].asInt(), 1);
        EXPECT_EQ(fullReportsOn(*watcher).size(), 1U);
        EXPECT_EQ(keysOf(reports[0]),
                  (std::set<std::string>{"ts", "order", "type", "sessionId", "liveStatus", "micStatus"}));
        EXPECT_EQ(keysOf(reports[1]), (std::set<std::string>{"ts", "order", "type"}));
        expectKeptPeriod(reports);
    }
}

TEST_F(HeartbeatTest, AReportTravelsAsTheHeartbeatChannelsMessagesDo) {
    startOnBoth();
    ASSERT_TRUE(onMain.waitFor(kReports));
    const WireMessage report = onMain.on(kReports)[0];
    EXPECT_EQ(report.topic, connectionOf(report) + "/up/2");
    EXPECT_EQ(report.responseTopic, connectionOf(report) + "/down/2");
    EXPECT_EQ(report.contentType, "application/json");
    EXPECT_EQ(report.userProperties, "");
    EXPECT_EQ(report.payload, WriteCompactJson(bodyOf(report)));
}

TEST_F(HeartbeatTest, AChangeBringsOneFullReportOnEachConnection) {
    startOnBoth();
    ASSERT_TRUE(onMain.waitFor(kReports));
    ASSERT_TRUE(onBackup.waitFor(kReports));
    heartbeat.updateLiveStreamInfo("stream-1", 11, 1920, 1080, 1);
    heartbeat.updateliveStatus(true);
    for (WireWatcher* watcher : {&onMain, &onBackup}) {
        ASSERT_TRUE(waitForFullReports(*watcher, 2));
        expectKeepAliveNext(*watcher);
        const Json::Value report = fullReportsOn(*watcher)[1];
        EXPECT_EQ(report["liveStatus"].asInt(), 1);
        EXPECT_EQ(report["liveInfo"]["streamName"].asString(), "stream-1");
        EXPECT_EQ(report["liveInfo"]["pushStatus"].asInt(), 2);
        EXPECT_FALSE(report.isMember("micInfo"));
    }
}

TEST_F(HeartbeatTest, CommandsLeaveInOrderOnTheMainConnectionOnly) {
    startOnBoth();
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(heartbeat.sendComand(i, R"({"say":"hello"})"));
    ASSERT_TRUE(onMain.waitFor(kCommands, 20));
    const std::vector<Json::Value> commands = bodiesOn(onMain, kCommands);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(commands[static_cast<std::size_t>(i)]["bizType"].asInt(), i);
        EXPECT_EQ(commands[static_cast<std::size_t>(i)]["data"].asString(), R"({"say":"hello"})");
    }
    EXPECT_TRUE(onBackup.on(kCommands).empty());
}

TEST_F(HeartbeatTest, CommandsGivenBeforeTheConnectionIsUpLeaveWhenItIs) {
    Relay relay(main.port());
    relay.refuse(true);
    start(relay.port(), backup.port());
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(heartbeat.sendComand(i, ""));
    ASSERT_TRUE(onBackup.waitFor(kReports));
    EXPECT_TRUE(heartbeat.isConnecting());
    EXPECT_TRUE(onMain.on(kCommands).empty());
    relay.refuse(false);
    ASSERT_TRUE(onMain.waitFor(kCommands, 3));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(bodiesOn(onMain, kCommands)[static_cast<std::size_t>(i)]["bizType"].asInt(), i);
}

TEST_F(HeartbeatTest, StopSendsAFinalReportOnEachConnection) {
    startOnBoth();
    ASSERT_TRUE(onMain.waitFor(kReports));
    ASSERT_TRUE(onBackup.waitFor(kReports));
    heartbeat.updateliveStatus(true);
    EXPECT_TRUE(stopHeartbeat());
    for (WireWatcher* watcher : {&onMain, &onBackup}) {
        ASSERT_TRUE(waitForFullReports(*watcher, 2));
        EXPECT_EQ(fullReportsOn(*watcher)[1]["liveStatus"].asInt(), 1);
    }
    const std::size_t reports = onMain.on(kReports).size();
    Bas::CMsgCenterFactory::Inst()->Stop();
    ASSERT_TRUE(onMain.waitFor(kPresence, 2));
    EXPECT_EQ(onMain.on(kPresence)[1].payload, R"({"online":false})");
    EXPECT_EQ(onMain.on(kReports).size(), reports);
    EXPECT_EQ(typesOn(onMain).back(), 1);
}

TEST_F(HeartbeatTest, AStoppedHeartbeatStartsAgainOnTheSameConnections) {
    startOnBoth();
    ASSERT_TRUE(onMain.waitFor(kReports));
    EXPECT_TRUE(stopHeartbeat());
    int mode = 0;
    ASSERT_EQ(LiveHeartReportManager::GetInstance()->startLiveheart("{}", mode), 1);
    ASSERT_TRUE(waitForFullReports(onMain, 2));
    EXPECT_EQ(onMain.on(kPresence).size(), 1U);
}

TEST_F(HeartbeatTest, BothConnectionsWorkOnOneServer) {
    start(main.port(), 0);
    ASSERT_TRUE(waitForFullReports(onMain, 2));
    std::set<std::string> connections;
    for (const WireMessage& report : onMain.on(kReports))
        connections.insert(connectionOf(report));
    EXPECT_EQ(connections.size(), 2U);
}

TEST_F(HeartbeatTest, ARequestOfTypeThreeBringsAFullReport) {
    startOnBoth();
    ASSERT_TRUE(onMain.waitFor(kReports));
    const std::string down = onMain.on(kReports)[0].responseTopic;
    for (const std::string& ignored :
         {std::string(R"({"type":2})"), std::string("no json"), std::string(10000, '['),
          std::string("\xff\0\xfe", 3), std::string(1024 * 1024, 'x')})
        support::Publish(main, down, ignored);
    support::Publish(main, down, R"({"type":3})");
    ASSERT_TRUE(waitForFullReports(onMain, 2));
    expectKeepAliveNext(onMain);
    EXPECT_EQ(fullReportsOn(onBackup).size(), 1U);
}

TEST_F(HeartbeatTest, RequestsThatAreNotOfTypeThreeBringNoFullReport) {
    startOnBoth();
    ASSERT_TRUE(onMain.waitFor(kReports));
    const std::string down = onMain.on(kReports)[0].responseTopic;
    for (const std::string& ignored :
         {std::string(R"({"type":2})"), std::string("no json"), std::string(10000, '[')})
        support::Publish(main, down, ignored);
    expectKeepAliveNext(onMain);
    EXPECT_EQ(fullReportsOn(onMain).size(), 1U);
}

TEST_F(HeartbeatTest, AConnectionThatIsCutBringsAFullReportWhenItIsBack) {
    Relay relay(main.port());
    start(relay.port(), backup.port());
    ASSERT_TRUE(onMain.waitFor(kReports));
    relay.cut();
    ASSERT_TRUE(waitForFullReports(onMain, 2));
    expectKeepAliveNext(onBackup);
    EXPECT_EQ(fullReportsOn(onBackup).size(), 1U);
}

TEST_F(HeartbeatTest, AServerThatIsKilledAndRestartedGetsAFullReport) {
    const LineCounter fullReports("isMain:main sender bRet:1");
    startOnBoth();
    ASSERT_TRUE(Eventually([&] { return fullReports.count() == 1; }));
    main.kill();
    ASSERT_TRUE(onBackup.waitFor(kReports, 2));
    EXPECT_TRUE(heartbeat.isConnecting());
    main.restart();
    WireWatcher again(main);
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
    OtherHost host(main.port(), backup.port(), "never");
    ASSERT_TRUE(onMain.waitFor(kReports));
    ASSERT_TRUE(onBackup.waitFor(kReports));
    host.kill();
    for (WireWatcher* watcher : {&onMain, &onBackup}) {
        ASSERT_TRUE(watcher->waitFor(kPresence, 2));
        EXPECT_EQ(watcher->on(kPresence)[0].payload, R"({"online":true})");
        EXPECT_EQ(watcher->on(kPresence)[1].payload, R"({"online":false})");
    }
}

/// The reports that came after the first last will.
std::vector<Json::Value> reportsAfterTheWill(WireWatcher& watcher) {
    std::vector<Json::Value> reports;
    bool dead = false;
    for (const WireMessage& message : watcher.messages()) {
        dead = dead || message.payload == R"({"online":false})";
        const bool isReport = message.topic == connectionOf(message) + kReports;
        if (dead && isReport) reports.push_back(bodyOf(message));
    }
    return reports;
}

// As a laptop's lid or a debugger does; the brokers give it up after seven seconds. Sleeps: the time is what it is
// about.
TEST_F(HeartbeatTest, AHostThatStoodStillComesBackWithAFullReport) {
    const auto asleep = std::chrono::seconds(support::LongForm() ? 60 : 10);
    OtherHost host(main.port(), backup.port(), "never", 5);
    ASSERT_TRUE(onMain.waitFor(kReports, 2));
    ASSERT_TRUE(onBackup.waitFor(kReports, 2));
    host.freeze();
    const auto wake = std::chrono::steady_clock::now() + asleep;
    for (WireWatcher* watcher : {&onMain, &onBackup})
        ASSERT_TRUE(watcher->waitFor(kPresence, 2));
    std::this_thread::sleep_until(wake);
    host.thaw();
    for (WireWatcher* watcher : {&onMain, &onBackup}) {
        ASSERT_TRUE(watcher->waitFor(kPresence, 3));
        EXPECT_EQ(watcher->on(kPresence)[2].payload, R"({"online":true})");
        ASSERT_TRUE(Eventually([&] { return reportsAfterTheWill(*watcher).size() >= 3; }));
        const std::vector<Json::Value> reports = reportsAfterTheWill(*watcher);
        EXPECT_EQ(reports[0]["type"].asInt(), 1);
        EXPECT_EQ(reports[1]["type"].asInt(), 2);
        EXPECT_EQ(reports[2]["type"].asInt(), 2);
    }
}

TEST_F(HeartbeatTest, AHostMayEndWithEverythingRunningAndConnected) {
    for (std::size_t i = 1; i <= 5; ++i) {
        OtherHost host(main.port(), backup.port(), "when-connected");
        EXPECT_EQ(host.wait(), 0);
        ASSERT_TRUE(onMain.waitFor(kPresence, 2 * i));
        EXPECT_EQ(onMain.on(kPresence).back().payload, R"({"online":false})");
    }
}

TEST_F(HeartbeatTest, AHostMayEndWhileItIsConnecting) {
    for (int i = 0; i < 5; ++i) {
        OtherHost host(main.port(), backup.port(), "at-once");
        EXPECT_EQ(host.wait(), 0);
    }
}

}  // namespace
}  // namespace heartbeat_integration
