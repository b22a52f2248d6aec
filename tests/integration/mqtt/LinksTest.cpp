#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/Relay.h"
#include "integration/support/Resident.h"
#include "integration/support/ScriptedServer.h"
#include "network/LookUps.h"
#include "support/LongForm.h"

using support::Broker;
using support::Eventually;
using support::FreePort;
using support::Recorder;
using support::Relay;
using support::ScriptedConnection;
using support::ScriptedServer;
using support::WireMessage;
using support::WireWatcher;

// Links that networks have, and machines that refuse: nothing that was accepted is lost, and the other center
// does not notice.

namespace {

constexpr int kMessages = 100;

std::size_t OpenFiles() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(files, std::filesystem::directory_iterator()));
}

class LinksTest : public CenterTest {
protected:
    void TearDown() override { qolive::SetNameResolver(nullptr); }

    static Config configFor(int port) {
        Config config(port);
        config->intValue1 = 5;
        return config;
    }

    void connect() {
        m_sender = m_center.createSender(5, Recorder::callback, &m_recorder);
        ASSERT_TRUE(m_center.start(configFor(m_relay.port())));
        ASSERT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
        m_backupSender = m_backup.createSender(2, Recorder::callback, &m_other);
        ASSERT_TRUE(m_backup.start(configFor(m_broker.port())));
        ASSERT_TRUE(m_other.waitConnected());
    }

    void sendAll() {
        for (int i = 0; i < kMessages; ++i)
            ASSERT_TRUE(Send(m_sender, std::to_string(i)));
    }

    // Some may come twice, none out of turn for the first time.
    bool allCame() {
        int next = 0;
        for (const WireMessage& message : m_watcher.on("/up/5"))
            if (message.payload == std::to_string(next)) ++next;
        return next == kMessages;
    }

    void everythingCame() {
        EXPECT_TRUE(Eventually([this] { return allCame(); })) << CenterLog::all();
        EXPECT_EQ(m_other.count(0, 0), 0U) << "the backup was disturbed";
        EXPECT_TRUE(Send(m_backupSender, "undisturbed"));
        EXPECT_TRUE(m_watcher.waitFor("/up/2"));
        StopWithinASecond(m_center);
    }

    Broker m_broker;
    WireWatcher m_watcher{m_broker};
    Relay m_relay{m_broker.port()};
    QoPlayer::MsgCenter m_backup;
    QoPlayer::MsgSender* m_sender = nullptr;
    QoPlayer::MsgSender* m_backupSender = nullptr;
};

TEST_F(LinksTest, AResetLosesNothing) {
    connect();
    m_relay.swallow(true);
    sendAll();
    m_relay.reset();
    m_relay.swallow(false);
    EXPECT_TRUE(m_recorder.waitConnected(2));
    everythingCame();
}

TEST_F(LinksTest, AHalfOpenConnectionIsFoundAndLosesNothing) {
    connect();
    m_relay.halfOpen();
    sendAll();
    EXPECT_TRUE(m_recorder.waitDisconnected()) << CenterLog::all();
    EXPECT_TRUE(m_recorder.waitConnected(2));
    everythingCame();
}

// Sleeps: nothing can be seen of a link that carries nothing.
TEST_F(LinksTest, ABlackholeOfTwoSecondsIsOnlyAPause) {
    connect();
    m_relay.swallow(true);
    sendAll();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    m_relay.swallow(false);
    everythingCame();
    EXPECT_EQ(m_recorder.count(0, 0), 1U);
}

// What the link has swallowed of the attempts meanwhile is lost, as it is in a network.
TEST_F(LinksTest, ABlackholeOfTwoMinutesLosesNothing) {
    if (!support::LongForm()) GTEST_SKIP() << "two minutes: in the long form";
    connect();
    m_relay.swallow(true);
    sendAll();
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    ASSERT_TRUE(m_recorder.waitDisconnected()) << CenterLog::all();
    EXPECT_LT(std::chrono::steady_clock::now(), end);
    std::this_thread::sleep_until(end);
    EXPECT_EQ(m_recorder.count(0, 1), 1U) << "nothing answers in there";
    m_relay.cut();
    m_relay.swallow(false);
    everythingCame();
}

TEST_F(LinksTest, SegmentsOfOneByteAreOnlySlow) {
    m_relay.segment(1);
    connect();
    sendAll();
    everythingCame();
    EXPECT_EQ(m_recorder.count(0, 0), 1U);  // that of the stop
}

TEST_F(LinksTest, ARoundTripOf800MillisecondsIsOnlySlow) {
    m_relay.delay(std::chrono::milliseconds(400));
    connect();
    sendAll();
    everythingCame();
    EXPECT_EQ(m_recorder.count(0, 0), 1U);
}

TEST_F(LinksTest, ALinkOf64KilobitsIsOnlySlow) {
    m_relay.limit(8000);
    connect();
    sendAll();
    everythingCame();
    EXPECT_EQ(m_recorder.count(0, 0), 1U);
}

TEST_F(LinksTest, AServerThatRefusesForAWhileLosesNothing) {
    connect();
    m_relay.swallow(true);
    sendAll();
    m_relay.refuse(true);
    m_relay.cut();
    m_relay.swallow(false);
    ASSERT_TRUE(m_recorder.waitDisconnected());
    const int seen = m_relay.connectionsSeen();
    EXPECT_TRUE(Eventually([&] { return m_relay.connectionsSeen() >= seen + 3; }));
    m_relay.refuse(false);
    everythingCame();
}

std::atomic<bool> nameKnown{true};

TEST_F(LinksTest, ANameThatFailsAndComesBackLosesNothing) {
    qolive::SetNameResolver([](const std::string&) {
        return nameKnown ? std::vector<std::string>{"127.0.0.1"} : std::vector<std::string>{};
    });
    m_sender = m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config({{"broker.test", m_relay.port()}})));
    ASSERT_TRUE(m_recorder.waitConnected());
    m_relay.swallow(true);
    sendAll();
    nameKnown = false;
    m_relay.cut();
    m_relay.swallow(false);
    ASSERT_TRUE(CenterLog::waitFor("no address found for broker.test", 2)) << CenterLog::all();
    nameKnown = true;
    EXPECT_TRUE(Eventually([this] { return allCame(); })) << CenterLog::all();
}

class ReconnectsTest : public CenterTest {
protected:
    // The list of addresses is long, so that there is no pause between one and the next. Nothing is noted of
    // each: it would be memory taken.
    void reconnect(int times) {
        QoPlayer::SetLogPtr(nullptr);
        m_center.createSender(5, countEnd, &m_ends);
        ASSERT_TRUE(m_center.start(Config(std::vector<std::pair<std::string, int>>(
            static_cast<std::size_t>(2 * times), {"127.0.0.1", m_fickle.port()}))));
        ASSERT_TRUE(Eventually([&] { return m_ends >= times / 10; }));
        const std::size_t files = OpenFiles();
        const long resident = support::ResidentKiB();
        ASSERT_TRUE(Eventually([&] { return m_ends >= times; }));
        m_newFiles = static_cast<long>(OpenFiles()) - static_cast<long>(files);
        m_newKiB = support::ResidentKiB() - resident;
        StopWithinASecond(m_center);
    }

    long m_newFiles = 0;
    long m_newKiB = 0;

private:
    static void countEnd(void* user, int type, int code, const unsigned char*, std::size_t) {
        if (type == 0 && code == 0) ++*static_cast<std::atomic<int>*>(user);
    }

    std::atomic<int> m_ends{0};
    ScriptedServer m_fickle{[](ScriptedConnection& connection) {
        std::string topic;
        if (connection.accept()) connection.answerSubscribe(0, topic);
    }};
};

TEST_F(ReconnectsTest, HundredsLeaveNoFilesOpen) {
    reconnect(400);
    EXPECT_LE(m_newFiles, 4);
}

TEST_F(ReconnectsTest, ThousandsLeaveNoMemoryTaken) {
    if (!support::kResidentTells) GTEST_SKIP() << "sanitizers keep freed memory";
    reconnect(5000);
    EXPECT_LT(m_newKiB, 1024) << "of 4500 connections";
}

using RefusingMachineTest = CenterTest;

class Limit {
public:
    Limit(decltype(RLIMIT_NOFILE) what, rlim_t most) : m_what(what) {
        getrlimit(m_what, &m_before);
        const rlimit lower = {most, m_before.rlim_max};
        setrlimit(m_what, &lower);
    }
    ~Limit() { setrlimit(m_what, &m_before); }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

private:
    const decltype(RLIMIT_NOFILE) m_what;
    rlimit m_before = {};
};

TEST_F(RefusingMachineTest, ACenterWithoutFilesIsToldAndStartsWhenThereAreSome) {
    Broker broker;
    QoPlayer::MsgCenter own;
    own.createSender(5, Recorder::callback, &m_other);
    {
        const Limit limit(RLIMIT_NOFILE, 4);
        QoPlayer::MsgCenter poor;
        poor.createSender(5, Recorder::callback, &m_recorder);
        EXPECT_TRUE(poor.start(Config(broker.port())) || !CenterLog::lines().empty());
        std::this_thread::sleep_for(std::chrono::milliseconds(300));  // it tries, and must not spin or end
        StopWithinASecond(poor);
        EXPECT_EQ(m_recorder.count(0, 1), 0U);
    }
    ASSERT_TRUE(own.start(Config(broker.port()))) << CenterLog::all();
    EXPECT_TRUE(m_other.waitConnected()) << CenterLog::all();
}

TEST_F(RefusingMachineTest, ACenterThatLosesItsFilesWhileConnectedComesBack) {
    Broker broker;
    Relay relay(broker.port());
    m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(relay.port())));
    ASSERT_TRUE(m_recorder.waitConnected());
    {
        const Limit limit(RLIMIT_NOFILE, 4);
        relay.cut();
        ASSERT_TRUE(m_recorder.waitDisconnected());
        ASSERT_TRUE(CenterLog::waitFor("cannot connect to", 2)) << CenterLog::all();
    }
    EXPECT_TRUE(m_recorder.waitConnected(2)) << CenterLog::all();
}

constexpr rlim_t kLessThanAStack = rlim_t{2} * 1024 * 1024;

rlim_t AddressSpace() {
    std::ifstream file("/proc/self/statm");
    rlim_t pages = 0;
    file >> pages;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

TEST_F(RefusingMachineTest, ACenterWithoutAThreadIsToldAndStartsWhenThereIsOne) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers need the address space";
#endif
    Broker broker;
    m_center.createSender(5, Recorder::callback, &m_recorder);
    const Config config(broker.port());
    bool started = true;
    {
        const Limit limit(RLIMIT_AS, AddressSpace() + kLessThanAStack);
        started = m_center.start(config);
    }
    EXPECT_FALSE(started);
    EXPECT_FALSE(CenterLog::lines().empty());
    ASSERT_TRUE(m_center.start(config)) << CenterLog::all();
    EXPECT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
}

}  // namespace
