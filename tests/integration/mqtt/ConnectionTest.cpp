#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/Relay.h"
#include "integration/support/ScriptedServer.h"
#include "network/LookUps.h"
#include "platform/MsgCenterWatch.h"

using support::Blackhole;
using support::Broker;
using support::Eventually;
using support::FreePort;
using support::Recorder;
using support::Relay;
using support::ScriptedConnection;
using support::ScriptedServer;
using support::SilentListener;
using support::WireWatcher;

namespace {

class ConnectionTest : public CenterTest {
protected:
    QoPlayer::MsgSender* connect(const QoPlayer::MsgCenterConfig& config) {
        QoPlayer::MsgSender* const sender = m_center.createSender(5, Recorder::callback, &m_recorder);
        EXPECT_TRUE(m_center.start(config));
        EXPECT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
        return sender;
    }
};

TEST_F(ConnectionTest, StartWithoutAUsableAddressFailsWithOneLine) {
    EXPECT_FALSE(m_center.start(Config(std::vector<std::pair<std::string, int>>{})));
    EXPECT_EQ(CenterLog::lines().size(), 1U);
    EXPECT_FALSE(m_center.start(Config({{"", 80}, {"host", 0}})));
    EXPECT_EQ(CenterLog::lines().size(), 2U);
    EXPECT_EQ(CenterLog::lines()[1].text, "error: start: no usable server address");
}

TEST_F(ConnectionTest, EveryLineBeginsWithItsSeverityAndTheNameOfItsCenter) {
    QoPlayer::MsgCenter named;
    QoPlayer::MsgCenterWatch(named).setName("main");
    EXPECT_FALSE(named.start(Config(std::vector<std::pair<std::string, int>>{})));
    Broker broker;
    named.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(named.start(Config({{"", 80}, {"127.0.0.1", broker.port()}})));
    ASSERT_TRUE(m_recorder.waitConnected());
    const std::string server = "127.0.0.1:" + std::to_string(broker.port()) + " over plain TCP";
    broker.stop();
    ASSERT_TRUE(CenterLog::waitFor("warning: main: connection to " + server + " lost: "));
    EXPECT_EQ(CenterLog::count("error: main: start: no usable server address"), 1U);
    EXPECT_EQ(CenterLog::count("warning: main: start: unusable server address skipped: :80"), 1U);
    EXPECT_EQ(CenterLog::count("info: main: connected to " + server), 1U);
    named.stop();
    EXPECT_EQ(CenterLog::count(": main: "), CenterLog::lines().size()) << CenterLog::all();
}

// Otherwise a server that had just accepted it would publish its last will.
TEST_F(ConnectionTest, AStopBeforeTheAnswerSaysGoodbyeToo) {
    std::promise<void> asked;
    std::promise<bool> goodbye;
    ScriptedServer server([&](ScriptedConnection& connection) {
        std::string body;
        if (!connection.readUntil(0x10, body)) return;
        asked.set_value();
        goodbye.set_value(connection.readUntil(0xe0, body));
    });
    ASSERT_TRUE(m_center.start(Config(server.port())));
    asked.get_future().wait();
    StopWithinASecond(m_center);
    EXPECT_TRUE(goodbye.get_future().get());
}

// A child that a host starts would keep the connection alive beyond the host's own end.
TEST_F(ConnectionTest, ProgramsThatTheHostStartsInheritNoSocket) {
    Broker broker;
    connect(Config(broker.port()));
    std::vector<std::string> inherited;
    int sockets = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(entry, gone).string();
        if (target.rfind("socket:", 0) != 0) continue;
        ++sockets;
        const int flags = fcntl(std::stoi(entry.path().filename()), F_GETFD);
        if ((flags & FD_CLOEXEC) == 0) inherited.push_back(target);
    }
    EXPECT_GT(sockets, 0);
    EXPECT_EQ(inherited, std::vector<std::string>{});
}

TEST_F(ConnectionTest, StartWithABadClientNameFailsWithOneLine) {
    Config config(1883);
    config->textValue1 = "dots.are.refused";
    EXPECT_FALSE(m_center.start(config));
    EXPECT_EQ(CenterLog::lines().size(), 1U);
    config->textValue1 = "fine";
    EXPECT_TRUE(m_center.start(config));
}

TEST_F(ConnectionTest, StartOfAStartedCenterFailsAndChangesNothing) {
    Broker broker;
    QoPlayer::MsgSender* const sender = connect(Config(broker.port()));
    EXPECT_FALSE(m_center.start(Config(FreePort())));
    EXPECT_TRUE(Send(sender, "still here"));
    EXPECT_EQ(m_recorder.count(0, 0), 0U);
}

TEST_F(ConnectionTest, TheConfigurationMayGoAsSoonAsStartReturns) {
    Broker broker;
    auto config = std::make_unique<Config>(broker.port());
    m_center.createSender(2, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(*config));
    config.reset();
    EXPECT_TRUE(m_recorder.waitConnected());
}

TEST_F(ConnectionTest, StopOfACenterThatIsNotStartedDoesNothing) {
    m_center.stop();
    m_center.stop();
    EXPECT_TRUE(CenterLog::lines().empty());
}

TEST_F(ConnectionTest, ASenderOpenedBeforeStartHearsNothingAndRefuses) {
    QoPlayer::MsgSender* const sender = m_center.createSender(2, Recorder::callback, &m_recorder);
    EXPECT_FALSE(Send(sender, "x"));
    m_center.closeSender(2);
    EXPECT_TRUE(m_recorder.events().empty());
}

TEST_F(ConnectionTest, CreateSenderRefusesASecondSenderAndNoCallback) {
    EXPECT_NE(m_center.createSender(2, Recorder::callback, &m_recorder), nullptr);
    EXPECT_EQ(m_center.createSender(2, Recorder::callback, &m_recorder), nullptr);
    EXPECT_EQ(m_center.createSender(3, nullptr, &m_recorder), nullptr);
    m_center.closeSender(77);
}

TEST_F(ConnectionTest, GoesThroughDeadRefusingAndBlackholedAddressesToTheGoodOne) {
    Broker good;
    Broker::Options closed;
    closed.users = {{"someone", "else"}};
    Broker unauthorised(closed);
    Relay refusing(good.port());
    refusing.refuse(true);
    Blackhole blackhole;
    const int dead = FreePort();
    connect(Config({{"127.0.0.1", dead},
                    {"127.0.0.1", refusing.port()},
                    {"127.0.0.1", unauthorised.port()},
                    {"127.0.0.1", blackhole.port()},
                    {"127.0.0.1", good.port()}}));
    const auto failed = [](int port, const std::string& why) {
        return CenterLog::count("cannot connect to 127.0.0.1:" + std::to_string(port) +
                                " over plain TCP: " + why);
    };
    EXPECT_EQ(failed(dead, "Connection refused"), 1U) << CenterLog::all();
    EXPECT_EQ(failed(refusing.port(), ""), 1U);
    EXPECT_EQ(failed(unauthorised.port(), "refused by the server: Not authorized"), 1U);
    EXPECT_EQ(failed(blackhole.port(), "no answer within 5 s"), 1U);
    EXPECT_EQ(m_recorder.last(0, 1),
              "connected to 127.0.0.1:" + std::to_string(good.port()) + " over plain TCP");
}

TEST_F(ConnectionTest, AServerThatNeverAnswersIsLeftForTheNext) {
    Broker good;
    SilentListener silent;
    connect(Config({{"127.0.0.1", silent.port()}, {"127.0.0.1", good.port()}}));
    EXPECT_EQ(CenterLog::count("no answer within 5 s"), 1U) << CenterLog::all();
}

TEST_F(ConnectionTest, SurvivesTwentyDeathsOfTheBroker) {
    Broker broker;
    QoPlayer::MsgSender* const sender = connect(Config(broker.port()));
    for (std::size_t death = 1; death <= 20; ++death) {
        broker.kill();
        ASSERT_TRUE(m_recorder.waitDisconnected(death)) << CenterLog::all();
        EXPECT_TRUE(Eventually([&] { return !Send(sender, "nobody there"); }));
        broker.restart();
        ASSERT_TRUE(m_recorder.waitConnected(death + 1)) << CenterLog::all();
    }
    WireWatcher watcher(broker);
    EXPECT_TRUE(Send(sender, "still alive"));
    EXPECT_TRUE(watcher.waitFor("/up/5"));
}

TEST_F(ConnectionTest, OnlyTheKeepAliveFindsAFrozenBroker) {
    Broker broker;
    Config config(broker.port());
    config->intValue1 = 5;
    connect(config);
    broker.freeze();
    ASSERT_TRUE(m_recorder.waitDisconnected()) << CenterLog::all();
    EXPECT_NE(m_recorder.last(0, 0).find("lost"), std::string::npos);
    broker.thaw();
    EXPECT_TRUE(m_recorder.waitConnected(2));
}

TEST_F(ConnectionTest, ADeadHostIsShownByTheLastWill) {
    Broker broker;
    WireWatcher watcher(broker);
    Relay relay(broker.port());
    connect(Config(relay.port()));
    ASSERT_TRUE(watcher.waitFor("/presence"));
    relay.refuse(true);
    relay.cut();
    ASSERT_TRUE(watcher.waitFor("/presence", 2));
    EXPECT_EQ(watcher.on("/presence")[1].payload, "{\"online\":false}");
}

TEST_F(ConnectionTest, WhatWasAcceptedBeforeALossArrivesAfterIt) {
    Broker broker;
    WireWatcher watcher(broker);
    Relay relay(broker.port());
    QoPlayer::MsgSender* const sender = connect(Config(relay.port()));
    relay.swallow(true);
    for (int i = 0; i < 200; ++i)
        ASSERT_TRUE(Send(sender, std::to_string(i)));
    relay.cut();
    relay.swallow(false);
    ASSERT_TRUE(m_recorder.waitConnected(2));
    const auto arrived = [&] {
        std::size_t next = 0;
        for (const support::WireMessage& message : watcher.on("/up/5"))
            if (message.payload == std::to_string(next)) ++next;
        return next == 200;
    };
    EXPECT_TRUE(Eventually(arrived));
}

TEST_F(ConnectionTest, TheServerKeepsTheSessionAndItsDownlinksThroughALoss) {
    Broker broker;
    WireWatcher watcher(broker);
    Relay relay(broker.port());
    connect(Config(relay.port()));
    ASSERT_TRUE(watcher.waitFor("/presence"));
    std::string topic = watcher.on("/presence")[0].topic;
    topic = topic.substr(0, topic.rfind('/')) + "/down/5";
    relay.refuse(true);
    relay.cut();
    ASSERT_TRUE(m_recorder.waitDisconnected());
    support::Publish(broker, topic, "while you were away");
    relay.refuse(false);
    ASSERT_TRUE(m_recorder.waitPackets());
    EXPECT_EQ(m_recorder.packets()[0], "while you were away");
}

TEST_F(ConnectionTest, TwoCentersOnOneBrokerAreTwoConnectionsOfOneClient) {
    Broker broker;
    WireWatcher watcher(broker);
    QoPlayer::MsgCenter backup;
    Config config(broker.port());
    config->textValue1.clear();
    connect(config);
    QoPlayer::MsgSender* const onBackup = backup.createSender(2, Recorder::callback, &m_other);
    ASSERT_TRUE(backup.start(config));
    ASSERT_TRUE(m_other.waitConnected());
    ASSERT_TRUE(watcher.waitFor("/presence", 2));
    const std::string one = watcher.on("/presence")[0].topic;
    const std::string two = watcher.on("/presence")[1].topic;
    EXPECT_NE(one, two);
    EXPECT_EQ(one.substr(0, 16), two.substr(0, 16));
    EXPECT_EQ(one.size(), std::string("qolive/12345678/12345678/presence").size());
    StopWithinASecond(m_center);
    EXPECT_TRUE(Send(onBackup, "goes on"));
    EXPECT_TRUE(watcher.waitFor("/up/2"));
    EXPECT_EQ(m_other.count(0, 0), 0U);
    backup.stop();
}

// A server that writes to a connection which is closed already may never read what came before the end.
TEST_F(ConnectionTest, TheGoodbyeWaitsForAnAnswerThatIsOnItsWay) {
    std::atomic<bool> isAnswering{false};
    std::atomic<bool> wentBeforeTheAnswer{false};
    std::atomic<bool> saidGoodbye{false};
    ScriptedServer server([&](ScriptedConnection& connection) {
        std::string text;
        if (!connection.accept() || !connection.readUntil(0x30, text)) return;  // presence
        const std::size_t length = static_cast<std::size_t>(static_cast<unsigned char>(text.at(1)));
        connection.sendPacket(0x40, text.substr(2 + length, 2));
        if (!connection.answerSubscribe(0, text)) return;
        if (!connection.readUntil(0xa0, text)) return;  // UNSUBSCRIBE
        isAnswering = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        char byte = 0;
        wentBeforeTheAnswer = recv(connection.socket(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0;
        connection.sendPacket(0xb0, text.substr(0, 2) + std::string(2, '\0'));
        saidGoodbye = connection.readUntil(0xe0, text);
    });
    connect(Config(server.port()));
    m_center.closeSender(5);
    ASSERT_TRUE(Eventually([&] { return isAnswering.load(); }));
    StopWithinASecond(m_center);
    EXPECT_TRUE(Eventually([&] { return saidGoodbye.load(); }));
    EXPECT_FALSE(wentBeforeTheAnswer);
}

TEST_F(ConnectionTest, ADestroyedCenterSaysGoodbyeAndTellsItsSenders) {
    Broker broker;
    WireWatcher watcher(broker);
    auto own = std::make_unique<QoPlayer::MsgCenter>();
    own->createSender(2, Recorder::callback, &m_recorder);
    ASSERT_TRUE(own->start(Config(broker.port())));
    ASSERT_TRUE(m_recorder.waitConnected());
    EXPECT_LT(support::TimeOf([&] { own.reset(); }).count(), 1000);
    EXPECT_EQ(m_recorder.last(0, 0), "stopped");
    ASSERT_TRUE(watcher.waitFor("/presence", 2));
    EXPECT_EQ(watcher.on("/presence")[1].payload, "{\"online\":false}");
}

TEST_F(ConnectionTest, TheHostsSignalHandlingStaysAsItIs) {
    struct sigaction before = {};
    before.sa_handler = SIG_DFL;
    ASSERT_EQ(sigaction(SIGPIPE, &before, nullptr), 0);
    Broker broker;
    QoPlayer::MsgSender* const sender = connect(Config(broker.port()));
    broker.kill();
    Send(sender, "into a broken pipe");
    ASSERT_TRUE(m_recorder.waitDisconnected());
    struct sigaction after = {};
    ASSERT_EQ(sigaction(SIGPIPE, nullptr, &after), 0);
    EXPECT_EQ(after.sa_handler, SIG_DFL);
}

TEST_F(ConnectionTest, TheHostsSignalHandlingSurvivesCentersThatConnectAtOnce) {
    struct sigaction before = {};
    before.sa_handler = SIG_DFL;
    ASSERT_EQ(sigaction(SIGPIPE, &before, nullptr), 0);
    const int dead = FreePort();
    for (int round = 0; round < 50; ++round) {
        {
            std::array<QoPlayer::MsgCenter, 4> centers;
            for (QoPlayer::MsgCenter& each : centers)
                ASSERT_TRUE(each.start(Config(dead)));
        }
        struct sigaction after = {};
        ASSERT_EQ(sigaction(SIGPIPE, nullptr, &after), 0);
        ASSERT_EQ(after.sa_handler, SIG_DFL);
    }
}

class StopTest : public ConnectionTest {
protected:
    void startAndWaitFor(const QoPlayer::MsgCenterConfig& config, const std::string& line) {
        m_center.createSender(2, Recorder::callback, &m_recorder);
        ASSERT_TRUE(m_center.start(config));
        ASSERT_TRUE(CenterLog::waitFor(line)) << CenterLog::all();
    }
};

TEST_F(StopTest, ReturnsWhileConnectingToABlackhole) {
    Blackhole blackhole;
    const int dead = FreePort();
    startAndWaitFor(Config({{"127.0.0.1", dead}, {"127.0.0.1", blackhole.port()}}), "Connection refused");
    StopWithinASecond(m_center);
    EXPECT_TRUE(m_recorder.events().empty());
}

TEST_F(StopTest, ReturnsWhileAServerNeverAnswers) {
    SilentListener silent;
    const int dead = FreePort();
    startAndWaitFor(Config({{"127.0.0.1", dead}, {"127.0.0.1", silent.port()}}), "Connection refused");
    StopWithinASecond(m_center);
}

TEST_F(StopTest, ReturnsWhileATlsHandshakeHangs) {
    SilentListener silent;
    Config config({{"127.0.0.1", FreePort()}, {"127.0.0.1", silent.port()}});
    config->intValue2 = 1;
    startAndWaitFor(config, "cannot connect to");
    StopWithinASecond(m_center);
}

TEST_F(StopTest, ReturnsInThePauseBetweenRounds) {
    Config config(FreePort());
    config->int64Value1 = 3'600'000;
    startAndWaitFor(config, "Connection refused");
    StopWithinASecond(m_center);
}

TEST_F(StopTest, ReturnsWhenTheBrokerIsFrozenAndNothingIsAcknowledged) {
    Broker broker;
    QoPlayer::MsgSender* const sender = connect(Config(broker.port()));
    broker.freeze();
    while (Send(sender, std::string(100'000, 'x'))) {
    }
    StopWithinASecond(m_center);
    EXPECT_EQ(m_recorder.last(0, 0), "stopped");
    EXPECT_EQ(CenterLog::count("messages unacknowledged"), 1U);
}

TEST_F(StopTest, ReturnsRightAfterTheBrokerDied) {
    Broker broker;
    connect(Config(broker.port()));
    broker.kill();
    StopWithinASecond(m_center);
    EXPECT_EQ(m_recorder.count(0, 0), 1U);
}

TEST_F(StopTest, ReturnsWhileTheServerFloodsTheConnection) {
    ScriptedServer flooding([](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept() || !connection.answerSubscribe(0, topic)) return;
        const std::string publish = support::MqttString(topic) + '\0' + std::string(20'000, 'x');
        while (connection.sendPacket(0x30, publish)) {
        }
    });
    connect(Config(flooding.port()));
    ASSERT_TRUE(m_recorder.waitPackets(100));
    StopWithinASecond(m_center);
}

TEST_F(StopTest, FromACallbackIsRefused) {
    Broker broker;
    m_recorder.then = [this](const Recorder::Event&) { m_center.stop(); };
    connect(Config(broker.port()));
    ASSERT_TRUE(CenterLog::waitFor("stop: called from a callback"));
}

TEST_F(StopTest, AHundredStartsAndStopsLeaveTheCenterUsable) {
    Broker broker;
    QoPlayer::MsgSender* const sender = m_center.createSender(2, Recorder::callback, &m_recorder);
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(m_center.start(Config(broker.port())));
        StopWithinASecond(m_center);
    }
    ASSERT_TRUE(m_center.start(Config(broker.port())));
    ASSERT_TRUE(Eventually([&] { return Send(sender, "up"); }));
}

class NamesTest : public ConnectionTest {
protected:
    void TearDown() override { qolive::SetNameResolver(nullptr); }
};

TEST_F(NamesTest, EveryAddressOfANameIsTried) {
    qolive::SetNameResolver([](const std::string&) {
        return std::vector<std::string>{"127.0.0.2", "127.0.0.3", "127.0.0.1"};
    });
    Broker broker;
    connect(Config({{"broker.test", broker.port()}}));
    const std::string port = std::to_string(broker.port());
    const auto refused = [&port](const std::string& literal) {
        return CenterLog::count("cannot connect to broker.test:" + port + " (" + literal +
                                ") over plain TCP: Connection refused");
    };
    EXPECT_EQ(refused("127.0.0.2"), 1U);
    EXPECT_EQ(refused("127.0.0.3"), 1U);
    EXPECT_EQ(m_recorder.last(0, 1), "connected to broker.test:" + port + " (127.0.0.1) over plain TCP");
}

TEST_F(NamesTest, LocalhostIsFoundOnWhicheverOfItsAddressesTheBrokerListens) {
    Broker broker;
    connect(Config({{"localhost", broker.port()}}));
    StopWithinASecond(m_center);
    if (!support::HasIpv6Loopback()) GTEST_SKIP() << "no IPv6 loopback address here";
    Broker::Options onIpv6;
    onIpv6.address = "::1";
    Broker ipv6(onIpv6);
    ASSERT_TRUE(m_center.start(Config({{"::1", ipv6.port()}})));
    EXPECT_TRUE(m_recorder.waitConnected(2)) << CenterLog::all();
}

TEST_F(NamesTest, AnUnknownNameIsSkipped) {
    qolive::SetNameResolver([](const std::string&) { return std::vector<std::string>{}; });
    Broker broker;
    connect(Config({{"nowhere.test", 1883}, {"127.0.0.1", broker.port()}}));
    EXPECT_EQ(CenterLog::count("no address found for nowhere.test"), 1U);
}

std::promise<void>& ReleaseHanging() {
    static auto* const promise = new std::promise<void>;
    return *promise;
}
std::shared_future<void>& Released() {
    static auto* const future = new std::shared_future<void>(ReleaseHanging().get_future());
    return *future;
}
std::atomic<int> hanging{0};

std::vector<std::string> ResolveOrHang(const std::string& host) {
    if (host != "hang.test") return {"127.0.0.1"};
    ++hanging;
    Released().wait();
    return {};
}

TEST_F(NamesTest, AHangingLookUpOfTheBackupDelaysNothingOnTheMain) {
    Released();
    qolive::SetNameResolver(ResolveOrHang);
    Broker broker;
    WireWatcher watcher(broker);
    QoPlayer::MsgCenter backup;
    EXPECT_TRUE(backup.start(Config({{"hang.test", broker.port()}})));
    ASSERT_TRUE(Eventually([] { return hanging == 1; }));
    QoPlayer::MsgSender* const sender = connect(Config({{"broker.test", broker.port()}}));
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(Send(sender, "main"));
    EXPECT_TRUE(watcher.waitFor("/up/5", 50));
    StopWithinASecond(m_center);
    StopWithinASecond(backup);
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(backup.start(Config({{"hang.test", broker.port()}})));
        StopWithinASecond(backup);
    }
    EXPECT_EQ(hanging, 1);
    ReleaseHanging().set_value();
}

TEST_F(NamesTest, AHangingLookUpIsLeftForTheNextAddress) {
    Released();
    qolive::SetNameResolver(ResolveOrHang);
    Broker broker;
    connect(Config({{"hang.test", broker.port()}, {"broker.test", broker.port()}}));
    EXPECT_EQ(CenterLog::count("no answer to the name look-up of hang.test"), 1U);
    ReleaseHanging().set_value();
}

}  // namespace
