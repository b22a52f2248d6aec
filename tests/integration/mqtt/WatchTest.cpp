#include <algorithm>
#include <atomic>
#include <ctime>
#include <mutex>
#include <thread>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/ScriptedServer.h"
#include "platform/MsgCenterWatch.h"
#include "support/WallClock.h"

using QoPlayer::MsgCenterCounters;
using QoPlayer::MsgCenterState;
using QoPlayer::MsgCenterStatus;
using QoPlayer::MsgCenterWatch;
using support::Broker;
using support::Eventually;
using support::FreePort;
using support::ScriptedConnection;
using support::ScriptedServer;
using support::WireWatcher;

// What a center tells of itself.

namespace {

/// The changes that the listener of a center has been told of. Made before the center is started, which stops
/// with it.
class Changes {
public:
    explicit Changes(QoPlayer::MsgCenter& center) : m_center(center) {
        MsgCenterWatch(center).setListener(listen, this);
    }
    ~Changes() { m_center.stop(); }
    Changes(const Changes&) = delete;
    Changes& operator=(const Changes&) = delete;

    std::vector<MsgCenterStatus> all() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_all;
    }

    /// The states without those that only changed their reason.
    std::vector<MsgCenterState> states() {
        std::vector<MsgCenterState> states;
        for (const MsgCenterStatus& change : all())
            if (states.empty() || states.back() != change.state) states.push_back(change.state);
        return states;
    }

private:
    static void listen(void* user, MsgCenterState state, const char* reason) {
        auto& self = *static_cast<Changes*>(user);
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        self.m_all.push_back({state, reason, 0});
    }

    QoPlayer::MsgCenter& m_center;
    std::mutex m_mutex;
    std::vector<MsgCenterStatus> m_all;
};

class WatchTest : public CenterTest {
protected:
    MsgCenterCounters counters() {
        const MsgCenterCounters told = m_watch.counters();
        EXPECT_EQ(told.accepted, told.acknowledged + told.refused + told.droppedUnusable + told.droppedLate +
                                     told.droppedAtReconnect + told.droppedAtStop + told.waiting);
        return told;
    }

    bool comesTo(MsgCenterState state, const std::string& reason) {
        return Eventually([&] {
            const MsgCenterStatus status = m_watch.status();
            return status.state == state && status.reason.find(reason) != std::string::npos;
        });
    }

    std::string now() {
        const MsgCenterStatus status = m_watch.status();
        return std::to_string(static_cast<int>(status.state)) + " " + status.reason + "\n" + CenterLog::all();
    }

    QoPlayer::MsgSender* connect(const QoPlayer::MsgCenterConfig& config, int cmd = 5) {
        QoPlayer::MsgSender* const sender =
            m_center.createSender(cmd, support::Recorder::callback, &m_recorder);
        EXPECT_TRUE(m_center.start(config));
        EXPECT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
        return sender;
    }

    MsgCenterWatch m_watch{m_center};
};

std::string Server(int port) {
    return "127.0.0.1:" + std::to_string(port) + " over plain TCP";
}

TEST_F(WatchTest, TheStatusFollowsTheConnectionAndTheListenerHearsEachState) {
    const std::int64_t before = support::WallMs();
    Changes changes(m_center);
    EXPECT_EQ(m_watch.status().state, MsgCenterState::Stopped);
    Broker broker;
    broker.kill();
    m_center.createSender(5, support::Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(broker.port())));
    const std::string refused = "cannot connect to " + Server(broker.port()) + ": Connection refused";
    ASSERT_TRUE(comesTo(MsgCenterState::Waiting, refused)) << now();
    broker.restart();
    ASSERT_TRUE(comesTo(MsgCenterState::Connected, "connected to " + Server(broker.port()))) << now();
    const std::int64_t since = m_watch.status().sinceMs;
    EXPECT_GE(since, before);
    EXPECT_LE(since, support::WallMs());
    broker.kill();
    const std::string lost = "connection to " + Server(broker.port()) + " lost: ";
    ASSERT_TRUE(Eventually([&] {
        for (const MsgCenterStatus& change : changes.all())
            if (change.reason.find(lost) != std::string::npos) return true;
        return false;
    })) << now();
    ASSERT_TRUE(comesTo(MsgCenterState::Waiting, refused)) << now();
    m_center.stop();
    EXPECT_EQ(m_watch.status().state, MsgCenterState::Stopped);
    EXPECT_EQ(m_watch.status().reason, "stopped");
    EXPECT_GE(m_watch.status().sinceMs, since);
    const std::vector<MsgCenterState> states = changes.states();
    EXPECT_EQ(states.front(), MsgCenterState::Connecting);
    EXPECT_EQ(states.back(), MsgCenterState::Stopped);
    EXPECT_EQ(std::count(states.begin(), states.end(), MsgCenterState::Connected), 1);
}

TEST_F(WatchTest, WhyACenterCouldNotBeStartedIsTold) {
    EXPECT_FALSE(m_center.start(Config({{"", 80}})));
    EXPECT_EQ(m_watch.status().state, MsgCenterState::Stopped);
    EXPECT_EQ(m_watch.status().reason, "cannot start: no usable server address");
}

TEST_F(WatchTest, ACenterWithoutSendersIsConnectedToo) {
    Broker broker;
    ASSERT_TRUE(m_center.start(Config(broker.port())));
    EXPECT_TRUE(comesTo(MsgCenterState::Connected, Server(broker.port()))) << now();
}

TEST_F(WatchTest, ARefusedTokenIsTheServersWordAndStaysSoFromRoundToRound) {
    Broker::Options usersOnly;
    usersOnly.users = {{"studio-7", "the-secret"}};
    Broker broker(usersOnly);
    Changes changes(m_center);
    Config config(broker.port());
    config->accessToken = "wrong-secret";
    ASSERT_TRUE(m_center.start(config));
    ASSERT_TRUE(comesTo(MsgCenterState::Refused, "refused by the server: Not authorized")) << now();
    ASSERT_TRUE(CenterLog::waitFor("refused by the server: Not authorized", 3));
    EXPECT_EQ(changes.states(),
              (std::vector<MsgCenterState>{MsgCenterState::Connecting, MsgCenterState::Refused}));
    for (const MsgCenterStatus& change : changes.all())
        EXPECT_EQ(change.reason.find("secret"), std::string::npos);
}

TEST_F(WatchTest, OnceNobodyRefusesAnyMoreTheStateSaysSo) {
    Broker::Options usersOnly;
    usersOnly.users = {{"studio-7", "the-secret"}};
    Broker broker(usersOnly);
    ASSERT_TRUE(m_center.start(Config(broker.port())));
    ASSERT_TRUE(comesTo(MsgCenterState::Refused, "Not authorized")) << now();
    broker.kill();
    EXPECT_TRUE(comesTo(MsgCenterState::Waiting, "cannot connect to")) << now();
}

TEST_F(WatchTest, AnExpiredTokenIsAStateOfItsOwn) {
    Config config(FreePort());
    config->accessToken = "the-secret";
    config->expireTime = std::time(nullptr) - 1;
    ASSERT_TRUE(m_center.start(config));
    EXPECT_TRUE(comesTo(MsgCenterState::TokenExpired, "the access token has expired")) << now();
    m_center.stop();
    EXPECT_EQ(m_watch.status().state, MsgCenterState::Stopped);
}

TEST_F(WatchTest, ARefusedSubscriptionIsARefusal) {
    ScriptedServer refusing([](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept()) return;
        connection.answerSubscribe(0x87, topic);
        connection.drain();
    });
    m_center.createSender(5, support::Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(refusing.port())));
    EXPECT_TRUE(
        comesTo(MsgCenterState::Refused, "the server refused the subscription of command 5: Not authorized"))
        << now();
}

// A broker whose access rules let nothing through: every operation of the sender says yes.
TEST_F(WatchTest, ABrokerThatRefusesEveryMessageIsVisible) {
    Broker::Options deaf;
    deaf.users = {{"studio-7", "secret"}};
    deaf.acl = "pattern read qolive/%u/#\n";
    Broker broker(deaf);
    Config config(broker.port());
    config->accessToken = "secret";
    QoPlayer::MsgSender* const sender = connect(config);
    for (int i = 0; i < 10; ++i)
        EXPECT_TRUE(Send(sender, std::to_string(i)));
    EXPECT_TRUE(Eventually([&] { return counters().refused == 10; })) << now();
    EXPECT_EQ(counters().accepted, 10U);
    EXPECT_EQ(counters().published, 10U);
    EXPECT_EQ(counters().acknowledged, 0U);
    const std::string reason =
        "connected to " + Server(broker.port()) + "; it has refused messages: Not authorized";
    EXPECT_TRUE(comesTo(MsgCenterState::Connected, reason)) << now();
    EXPECT_EQ(m_recorder.count(0, 0), 0U);
}

TEST_F(WatchTest, TheCountersGoOnOverLostConnectionsAndStops) {
    Broker broker;
    QoPlayer::MsgSender* const sender = connect(Config(broker.port()));
    for (std::uint64_t round = 1; round <= 3; ++round) {
        for (int i = 0; i < 20; ++i)
            EXPECT_TRUE(Send(sender, "x"));
        ASSERT_TRUE(Eventually([&] { return counters().acknowledged == round * 20; })) << now();
        EXPECT_EQ(counters().reconnects, round - 1);
        broker.restart();
        ASSERT_TRUE(m_recorder.waitConnected(round + 1)) << CenterLog::all();
    }
    EXPECT_EQ(counters().reconnects, 3U);
    m_center.stop();
    EXPECT_EQ(counters().accepted, 60U);
    EXPECT_FALSE(Send(sender, "x"));
    EXPECT_EQ(counters().notAcceptedUnconnected, 1U);
    ASSERT_TRUE(m_center.start(Config(broker.port())));
    ASSERT_TRUE(m_recorder.waitConnected(5));
    EXPECT_TRUE(Send(sender, "x"));
    EXPECT_TRUE(Eventually([&] { return counters().acknowledged == 61; })) << now();
    EXPECT_EQ(counters().reconnects, 3U);
    EXPECT_EQ(counters().waiting, 0U);
}

TEST_F(WatchTest, WhatAFrozenServerHasNotAcknowledgedWaits) {
    Broker broker;
    QoPlayer::MsgSender* const records = connect(Config(broker.port()));
    QoPlayer::MsgSender* const commands = m_center.createSender(4, support::Recorder::callback, &m_other);
    ASSERT_TRUE(m_other.waitConnected());
    broker.freeze();
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(Send(records, "x"));
    EXPECT_TRUE(Send(commands, "x"));
    EXPECT_EQ(counters().waiting, 4U);
    EXPECT_EQ(counters().waitingRecords, 3U);
    EXPECT_TRUE(Eventually([&] { return counters().oldestWaitingMs >= 100; }));
    broker.thaw();
    EXPECT_TRUE(Eventually([&] { return counters().acknowledged == 4; }));
    EXPECT_EQ(counters().oldestWaitingMs, 0);
}

TEST_F(WatchTest, EachDropIsCountedByItsCause) {
    Broker::Options small;
    small.lines = {"max_packet_size 2000"};
    Broker broker(small);
    QoPlayer::MsgSender* const records = connect(Config(broker.port()));
    QoPlayer::MsgSender* const beats = m_center.createSender(2, support::Recorder::callback, &m_other);
    ASSERT_TRUE(m_other.waitConnected());
    EXPECT_TRUE(Send(records, std::string(3000, 'x')));
    EXPECT_TRUE(Send(records, "bad", "a\tb"));
    ASSERT_TRUE(Eventually([&] { return counters().droppedUnusable == 2; })) << now();
    broker.freeze();
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(Send(beats, "x"));
    ASSERT_TRUE(Eventually([&] { return counters().droppedLate >= 2; })) << now();  // two are in flight
    broker.restart();
    EXPECT_TRUE(Eventually([&] { return counters().droppedLate + counters().droppedAtReconnect == 4; }))
        << now();
    ASSERT_TRUE(m_recorder.waitConnected(2)) << CenterLog::all();
    broker.freeze();
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(Send(records, "x"));
    m_center.stop();
    EXPECT_EQ(counters().droppedAtStop, 5U) << now();
    EXPECT_EQ(counters().waiting, 0U);
}

TEST_F(WatchTest, TheCountersAddUpAtAnyMoment) {
    Broker broker;
    QoPlayer::MsgSender* const sender = connect(Config(broker.port()));
    std::atomic<std::uint64_t> accepted{0};
    std::atomic<std::uint64_t> refused{0};
    std::atomic<bool> run{true};
    std::vector<std::thread> hosts;
    for (int i = 0; i < 3; ++i)
        hosts.emplace_back([&] {
            while (run) {
                const bool taken = Send(sender, std::string(200, 'x'));
                ++(taken ? accepted : refused);
                if (!taken) std::this_thread::yield();
            }
        });
    for (std::size_t outage = 1; outage <= 3; ++outage) {
        const std::uint64_t before = counters().acknowledged;
        EXPECT_TRUE(Eventually([&] { return counters().acknowledged > before + 500; }));
        broker.restart();
        EXPECT_TRUE(m_recorder.waitConnected(outage + 1)) << CenterLog::all();
    }
    run = false;
    for (std::thread& host : hosts)
        host.join();
    EXPECT_TRUE(Eventually([&] { return counters().waiting == 0; })) << now();
    EXPECT_EQ(counters().accepted, accepted);
    EXPECT_EQ(counters().acknowledged, accepted);
    EXPECT_EQ(counters().notAcceptedFull + counters().notAcceptedUnconnected, refused);
    EXPECT_GE(counters().published, accepted);
}

}  // namespace
