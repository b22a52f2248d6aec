#include <algorithm>
#include <string>
#include <thread>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/Relay.h"
#include "integration/support/ScriptedServer.h"

using support::Broker;
using support::Eventually;
using support::Recorder;
using support::Relay;
using support::ScriptedConnection;
using support::ScriptedServer;
using support::WireMessage;
using support::WireWatcher;

// What goes first on a link that cannot carry everything at once, and what is not worth carrying any more.

namespace {

constexpr int kHeartbeat = 2;
constexpr int kCommand = 4;
constexpr int kRecord = 5;

class LanesTest : public CenterTest {
protected:
    void TearDown() override { m_center.stop(); }  // before the third recorder goes

    void connect(int port) {
        m_heartbeats = m_center.createSender(kHeartbeat, Recorder::callback, &m_recorder);
        m_commands = m_center.createSender(kCommand, Recorder::callback, &m_other);
        m_records = m_center.createSender(kRecord, Recorder::callback, &m_third);
        ASSERT_TRUE(m_center.start(Config(port)));
        ASSERT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
        ASSERT_TRUE(m_other.waitConnected());
        ASSERT_TRUE(m_third.waitConnected());
    }

    support::Recorder m_third;
    QoPlayer::MsgSender* m_heartbeats = nullptr;
    QoPlayer::MsgSender* m_commands = nullptr;
    QoPlayer::MsgSender* m_records = nullptr;
};

/// How many messages of the ending `later` had come before the first of `first`.
std::size_t ComeBefore(WireWatcher& watcher, const std::string& first, const std::string& later) {
    std::size_t count = 0;
    for (const WireMessage& message : watcher.messages()) {
        const auto endsWith = [&](const std::string& ending) {
            return message.topic.size() > ending.size() &&
                   message.topic.compare(message.topic.size() - ending.size(), ending.size(), ending) == 0;
        };
        if (endsWith(first)) return count;
        if (endsWith(later)) ++count;
    }
    return count;
}

// 64 kbit/s carry 53 of these records (450 bytes on the wire) in a heartbeat's period. The old keep-in-line
// way sent the heartbeat after all 400.
TEST_F(LanesTest, AHeartbeatAndACommandPassTheBacklogOfAThinAndLongLink) {
    Broker broker;
    Relay thin(broker.port());
    thin.delay(std::chrono::milliseconds(400));
    thin.limit(8000);
    WireWatcher watcher(broker);
    connect(thin.port());
    for (int i = 0; i < 400; ++i)
        ASSERT_TRUE(Send(m_records, std::string(300, 'r')));
    ASSERT_TRUE(watcher.waitFor("/up/5", 100));
    const std::size_t under = watcher.on("/up/5").size();
    ASSERT_TRUE(Send(m_heartbeats, "heartbeat"));
    ASSERT_TRUE(Send(m_commands, "command"));
    ASSERT_TRUE(watcher.waitFor("/up/2"));
    ASSERT_TRUE(watcher.waitFor("/up/4"));
    EXPECT_LE(ComeBefore(watcher, "/up/2", "/up/5"), under + 53);
    EXPECT_LE(ComeBefore(watcher, "/up/4", "/up/5"), under + 54);
}

TEST_F(LanesTest, RecordsKeepTheirOrderOnAThinLinkThatIsLost) {
    Broker broker;
    Relay thin(broker.port());
    thin.limit(40'000);
    WireWatcher watcher(broker);
    connect(thin.port());
    for (int i = 0; i < 300; ++i)
        ASSERT_TRUE(Send(m_records, std::to_string(i) + "." + std::string(300, 'r')));
    ASSERT_TRUE(watcher.waitFor("/up/5", 50));
    thin.cut();
    ASSERT_TRUE(Eventually([&] {
        const auto arrived = watcher.on("/up/5");
        return !arrived.empty() && arrived.back().payload.rfind("299.", 0) == 0;
    }));
    int newest = -1;
    for (const WireMessage& message : watcher.on("/up/5")) {
        const int number = std::stoi(message.payload);
        ASSERT_LE(number, newest + 1) << "one was left out";
        newest = std::max(newest, number);
    }
}

TEST_F(LanesTest, AConnectionThatComesBackDoesNotBeginWithHeartbeatsOfBefore) {
    Broker broker;
    Relay relay(broker.port());
    WireWatcher watcher(broker);
    connect(relay.port());
    relay.swallow(true);
    ASSERT_TRUE(Send(m_heartbeats, "before"));
    ASSERT_TRUE(Send(m_commands, "command"));
    relay.cut();
    ASSERT_TRUE(m_recorder.waitDisconnected());
    relay.swallow(false);
    ASSERT_TRUE(m_recorder.waitConnected(2));
    ASSERT_TRUE(Send(m_heartbeats, "after"));
    ASSERT_TRUE(watcher.waitFor("/up/2"));
    ASSERT_TRUE(watcher.waitFor("/up/4"));
    EXPECT_EQ(watcher.on("/up/2")[0].payload, "after");
    EXPECT_EQ(watcher.on("/up/4")[0].payload, "command");
}

TEST_F(LanesTest, TheLastHeartbeatOfAClosedSenderStillComesAfterAShortLoss) {
    Broker broker;
    Relay relay(broker.port());
    WireWatcher watcher(broker);
    connect(relay.port());
    relay.swallow(true);
    ASSERT_TRUE(Send(m_heartbeats, "the last"));
    m_center.closeSender(kHeartbeat);
    relay.cut();
    ASSERT_TRUE(m_other.waitDisconnected());
    relay.swallow(false);
    ASSERT_TRUE(watcher.waitFor("/up/2"));
    EXPECT_EQ(watcher.on("/up/2")[0].payload, "the last");
}

// Sleeps: what is looked at is what happens to messages that wait.
TEST_F(LanesTest, HeartbeatsThatWaitForTooLongAreLeftOutAndTheNextIsAskedToBeAFullOne) {
    Broker broker;
    Relay relay(broker.port());
    WireWatcher watcher(broker);
    connect(relay.port());
    relay.swallow(true);
    for (const char* body : {"in flight 1", "in flight 2", "too old"})
        ASSERT_TRUE(Send(m_heartbeats, body));
    std::this_thread::sleep_for(std::chrono::milliseconds(3500));
    relay.swallow(false);
    ASSERT_TRUE(m_recorder.waitConnected(2)) << "a status notice makes the next heartbeat a full one";
    ASSERT_TRUE(Send(m_heartbeats, "the next"));
    ASSERT_TRUE(watcher.waitFor("/up/2", 3));
    EXPECT_EQ(watcher.on("/up/2").back().payload, "the next");
    EXPECT_EQ(m_recorder.count(0, 0), 0U) << "the connection was never lost";
}

TEST_F(LanesTest, ASubscriptionThatIsNeverAnsweredEndsTheConnection) {
    ScriptedServer silent([](ScriptedConnection& connection) {
        if (connection.accept()) connection.drain();
    });
    m_records = m_center.createSender(kRecord, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(silent.port())));
    ASSERT_TRUE(CenterLog::waitFor("no answer to a subscription within 10 s")) << CenterLog::all();
    EXPECT_TRUE(Eventually([&] { return silent.connectionsSeen() >= 2; }));
}

// Nine pauses that grow from half a second would take a minute.
TEST_F(LanesTest, ALinkThatLosesEachConnectionAfterAWhileComesBackSoon) {
    Broker broker;
    Relay relay(broker.port());
    m_records = m_center.createSender(kRecord, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(relay.port())));
    const auto started = std::chrono::steady_clock::now();
    for (std::size_t i = 1; i <= 9; ++i) {
        ASSERT_TRUE(m_recorder.waitConnected(i));
        std::this_thread::sleep_for(std::chrono::milliseconds(1050));
        relay.cut();
        ASSERT_TRUE(m_recorder.waitDisconnected(i));
    }
    ASSERT_TRUE(m_recorder.waitConnected(10));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(30));
}

}  // namespace
