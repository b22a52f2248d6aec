#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <thread>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/Resident.h"
#include "integration/support/ScriptedServer.h"

using support::Broker;
using support::Eventually;
using support::MqttString;
using support::Recorder;
using support::ScriptedConnection;
using support::ScriptedServer;
using support::WireMessage;
using support::WireWatcher;

namespace {

std::string DownTopicOf(WireWatcher& watcher, int cmd) {
    EXPECT_TRUE(watcher.waitFor("/presence"));
    const std::string presence = watcher.on("/presence")[0].topic;
    return presence.substr(0, presence.rfind('/')) + "/down/" + std::to_string(cmd);
}

class LimitsTest : public CenterTest {
protected:
    QoPlayer::MsgSender* connect(int port) {
        QoPlayer::MsgSender* const sender = m_center.createSender(5, Recorder::callback, &m_recorder);
        EXPECT_TRUE(m_center.start(Config(port)));
        EXPECT_TRUE(m_recorder.waitConnected()) << CenterLog::all();
        return sender;
    }

    static std::size_t dropLines() {
        std::size_t count = 0;
        for (const CenterLog::Line& line : CenterLog::lines())
            if (line.text.find("error: a message ") == 0 && line.text.find("dropped") != std::string::npos)
                ++count;
        return count;
    }
};

TEST_F(LimitsTest, Takes4096UnacknowledgedMessagesAndDeliversThemInOrder) {
    Broker broker;
    WireWatcher watcher(broker);
    QoPlayer::MsgSender* const sender = connect(broker.port());
    broker.freeze();
    for (int i = 0; i < 4096; ++i)
        ASSERT_TRUE(Send(sender, std::to_string(i))) << i;
    EXPECT_FALSE(Send(sender, "one too many"));
    broker.thaw();
    ASSERT_TRUE(watcher.waitFor("/up/5", 4096)) << watcher.on("/up/5").size() << broker.log();
    const std::vector<WireMessage> messages = watcher.on("/up/5");
    for (std::size_t i = 0; i < 4096; ++i)
        ASSERT_EQ(messages[i].payload, std::to_string(i));
    EXPECT_TRUE(Eventually([&] { return Send(sender, "room again"); }));
}

TEST_F(LimitsTest, Takes4MiBUnacknowledged) {
    Broker broker;
    QoPlayer::MsgSender* const sender = connect(broker.port());
    broker.freeze();
    for (int i = 0; i < 64; ++i)
        ASSERT_TRUE(Send(sender, std::string(65536, 'x'))) << i;
    EXPECT_FALSE(Send(sender, "x"));
    broker.thaw();
    EXPECT_TRUE(Eventually([&] { return Send(sender, "x"); }));
}

TEST_F(LimitsTest, ATenMegabyteMessageGoes) {
    Broker broker;
    WireWatcher watcher(broker);
    const std::string body(10'000'000, 'x');
    ASSERT_TRUE(Send(connect(broker.port()), body));
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_TRUE(watcher.on("/up/5")[0].payload == body);
}

TEST_F(LimitsTest, AMessageLargerThanTheBrokerTakesIsDroppedAndTheNextGoes) {
    Broker::Options small;
    small.lines = {"max_packet_size 2000"};
    Broker broker(small);
    WireWatcher watcher(broker);
    QoPlayer::MsgSender* const sender = connect(broker.port());
    EXPECT_TRUE(Send(sender, std::string(3000, 'x')));
    EXPECT_TRUE(Send(sender, "small"));
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_EQ(watcher.on("/up/5")[0].payload, "small");
    EXPECT_EQ(dropLines(), 1U) << CenterLog::all();
    EXPECT_EQ(m_recorder.count(0, 0), 0U);
}

TEST_F(LimitsTest, AMessageOfExactlyTheBrokersLimitGoes) {
    Broker::Options small;
    small.lines = {"max_packet_size 1000"};
    Broker broker(small);
    WireWatcher watcher(broker);
    QoPlayer::MsgSender* const sender = connect(broker.port());
    const std::size_t topic = DownTopicOf(watcher, 5).size() - 2;
    const std::size_t around = 3 + 2 + topic + 2 + 1 + 1 + 2 + 16 + 1 + 2 + topic + 2;
    EXPECT_TRUE(Send(sender, std::string(1000 - around + 1, 'x')));
    EXPECT_TRUE(Send(sender, std::string(1000 - around, 'y')));
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_EQ(watcher.on("/up/5")[0].payload, std::string(1000 - around, 'y'));
    EXPECT_EQ(dropLines(), 1U) << CenterLog::all();
    EXPECT_EQ(m_recorder.count(0, 0), 0U);
}

TEST_F(LimitsTest, MessagesWithAHeadThatCannotTravelAreDroppedAndTheNextGoes) {
    Broker broker;
    WireWatcher watcher(broker);
    QoPlayer::MsgSender* const sender = connect(broker.port());
    const std::vector<std::string> heads = {"\xff\xfe", "a\tb", std::string("a\0b", 3),
                                            std::string(65536, 'h')};
    for (const std::string& head : heads)
        EXPECT_TRUE(Send(sender, "bad", head));
    const std::uint8_t body = 'x';
    EXPECT_TRUE(sender->send(&body, 1, &body, -1));
    EXPECT_TRUE(sender->send(nullptr, 1, nullptr, 0));
    EXPECT_EQ(dropLines(), heads.size() + 2);
    EXPECT_TRUE(Send(sender, "good", std::string(65535, 'h')));
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_EQ(watcher.on("/up/5")[0].payload, "good");
    EXPECT_EQ(watcher.on("/up/5")[0].head(), std::string(65535, 'h'));
    EXPECT_EQ(m_recorder.count(0, 0), 0U);
}

TEST_F(LimitsTest, AMessageThatTheBrokersRulesForbidIsDroppedAndTheNextGoes) {
    Broker::Options confined;
    confined.users = {{"studio-7", "secret"}, {"watch", "secret"}};
    confined.acl =
        "user watch\ntopic readwrite #\npattern readwrite qolive/%u/+/up/5\npattern read qolive/%u/#\n";
    Broker broker(confined);
    WireWatcher watcher(broker, {"watch", "secret", ""});
    Config config(broker.port());
    config->accessToken = "secret";
    QoPlayer::MsgSender* const allowed = m_center.createSender(5, Recorder::callback, &m_recorder);
    QoPlayer::MsgSender* const forbidden = m_center.createSender(6, Recorder::callback, &m_other);
    ASSERT_TRUE(m_center.start(config));
    ASSERT_TRUE(m_recorder.waitConnected()) << CenterLog::all() << broker.log();
    ASSERT_TRUE(m_other.waitConnected());
    EXPECT_TRUE(Send(forbidden, "forbidden"));
    EXPECT_TRUE(Send(allowed, "allowed"));
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_TRUE(CenterLog::waitFor("a message was dropped: the server refused it: Not authorized"));
    EXPECT_TRUE(watcher.on("/up/6").empty());
    EXPECT_EQ(m_recorder.count(0, 0), 0U);
}

TEST_F(LimitsTest, ManyThreadsSendAtOnceAndNothingIsLost) {
    Broker broker;
    WireWatcher watcher(broker);
    QoPlayer::MsgSender* const sender = connect(broker.port());
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500;) {
                if (Send(sender, std::to_string(t) + ":" + std::to_string(i), "{}"))
                    ++i;
                else
                    std::this_thread::yield();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_TRUE(watcher.waitFor("/up/5", 2000));
    std::map<char, int> next;
    for (const WireMessage& message : watcher.on("/up/5"))
        ASSERT_EQ(message.payload.substr(2), std::to_string(next[message.payload[0]]++));
}

TEST_F(LimitsTest, ADownlinkOfMoreThan64KiBIsNotSentToUs) {
    Broker broker;
    WireWatcher watcher(broker, {}, "qolive/+/+/presence");
    connect(broker.port());
    const std::string topic = DownTopicOf(watcher, 5);
    support::Publish(broker, topic, std::string(64 * 1024, 'x'));
    support::Publish(broker, topic, "small");
    ASSERT_TRUE(m_recorder.waitPackets());
    EXPECT_EQ(m_recorder.packets()[0], "small");
    EXPECT_EQ(m_recorder.count(0, 0), 0U);
}

TEST_F(LimitsTest, ABinaryAndAnEmptyDownlinkArriveAsTheyAre) {
    Broker broker;
    WireWatcher watcher(broker);
    connect(broker.port());
    const std::string topic = DownTopicOf(watcher, 5);
    const std::string binary("\0\xff{\0}", 5);
    support::Publish(broker, topic, binary);
    support::Publish(broker, topic, "");
    ASSERT_TRUE(m_recorder.waitPackets(2));
    EXPECT_EQ(m_recorder.packets(), (std::vector<std::string>{binary, ""}));
}

// What no honest server does.

/// A PUBLISH packet for `topic` of `size` bytes in all.
std::string DownlinkOf(std::size_t size, const std::string& topic) {
    const std::string start = MqttString(topic) + std::string(1, '\0');
    const std::size_t remaining = size - 1 - 3;
    std::string packet = "\x30";
    for (const std::size_t part : {remaining % 128 + 128, remaining / 128 % 128 + 128, remaining / 128 / 128})
        packet += static_cast<char>(part);
    return packet + start + std::string(remaining - start.size(), 'x');
}

TEST_F(LimitsTest, ASecondAnswerToTheConnectionEndsIt) {
    ScriptedServer rude([](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept() || !connection.answerSubscribe(0, topic)) return;
        connection.sendPacket(0x20, std::string(3, '\0'));
        connection.drain();
    });
    connect(rude.port());
    ASSERT_TRUE(m_recorder.waitDisconnected());
}

TEST_F(LimitsTest, DownlinksOnTopicsOfNobodyAreIgnored) {
    ScriptedServer rude([](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept() || !connection.answerSubscribe(0, topic)) return;
        const std::string prefix = topic.substr(0, topic.rfind('/') + 1);
        for (const std::string& odd : {prefix, prefix + "6", prefix + "999999999999999999999", prefix + "5/5",
                                       std::string("a"), std::string(60'000, 't'), prefix + "+5"})
            connection.sendPacket(0x30, MqttString(odd) + std::string(1, '\0') + "odd");
        connection.sendPacket(0x30, MqttString(topic) + std::string(1, '\0') + "mine");
        connection.drain();
    });
    connect(rude.port());
    ASSERT_TRUE(m_recorder.waitPackets());
    EXPECT_EQ(m_recorder.packets(), std::vector<std::string>{"mine"});
}

TEST_F(LimitsTest, NonsenseFromAServerEndsTheConnectionAndTheNextIsTried) {
    const std::vector<std::string> nonsense = {
        std::string("HTTP/1.1 400 Bad Request\r\n\r\n"),
        std::string("\x00\x00\x00\x00\x00\x00", 6),
        std::string("\xf0\xff\xff\xff\xff\xff\xff", 7),
        std::string("\x30\xff\xff\xff\x7f", 5),              // a message before the answer
        std::string("\x20\x02\x00\x00", 4),                  // the answer of an older version
        std::string("\x20\x06\x00\x00\x03\x21\x00\x00", 8),  // takes no message at a time
        std::string("\x20\x03\x00\x00\x05", 5),              // properties that are not there
        std::string("\x20\x03\x00\x00\x00\x32\x07\x00\x02\xff\xfe\x00\x01", 13),  // a topic that is not UTF-8
        std::string("\x20\x03\x00\x00\x00\xd0\x00\xe0\x02\x8b\x00", 11),          // closes with a reason
    };
    for (const std::string& bytes : nonsense) {
        ScriptedServer rude([&](ScriptedConnection& connection) {
            std::string body;
            if (connection.readUntil(0x10, body)) connection.send(bytes);
        });
        Broker broker;
        QoPlayer::MsgCenter own;
        Recorder heard;
        own.createSender(5, Recorder::callback, &heard);
        ASSERT_TRUE(own.start(Config({{"127.0.0.1", rude.port()}, {"127.0.0.1", broker.port()}})));
        EXPECT_TRUE(Eventually(
            [&] { return heard.last(0, 1).find(std::to_string(broker.port())) != std::string::npos; }));
        StopWithinASecond(own);
    }
}

TEST_F(LimitsTest, AServerThatAcknowledgesNoMessagesIsRefused) {
    ScriptedServer poor([](ScriptedConnection& connection) {
        connection.accept(std::string("\x24\x00", 2));
        connection.drain();
    });
    m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(poor.port())));
    ASSERT_TRUE(m_recorder.waitDisconnected()) << CenterLog::all();
    EXPECT_NE(m_recorder.last(0, 0).find("the server acknowledges no messages"), std::string::npos);
}

TEST_F(LimitsTest, NoMoreMessagesAreInFlightThanTheServerTakes) {
    std::atomic<int> most{0};
    ScriptedServer slow([&](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept(std::string("\x21\x00\x05", 3)) || !connection.answerSubscribe(0, topic))
            return;
        std::uint8_t type = 0;
        std::string body;
        int inFlight = 1;  // the presence, which came before the subscription
        while (connection.read(type, body)) {
            if (type == 0x30) most = std::max(most.load(), ++inFlight);
            if (type == 0x80) connection.sendPacket(0x90, body.substr(0, 2) + std::string(2, '\0'));
        }
    });
    QoPlayer::MsgSender* const sender = connect(slow.port());
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(Send(sender, "x"));
    EXPECT_TRUE(Eventually([&] { return most == 3; }));  // of five, two are kept for heartbeats and commands
    QoPlayer::MsgSender* const commands = m_center.createSender(4, Recorder::callback, &m_other);
    ASSERT_TRUE(m_other.waitConnected());
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(Send(commands, "x"));
    EXPECT_TRUE(Eventually([&] { return most == 5; }));
    StopWithinASecond(m_center);
    EXPECT_LE(most, 6);  // the goodbye needs no acknowledgement
}

TEST_F(LimitsTest, ARefusedSubscriptionIsToldAndLeavesTheSenderUnconnected) {
    ScriptedServer refusing([](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept()) return;
        connection.answerSubscribe(0x87, topic);
        connection.drain();
    });
    QoPlayer::MsgSender* const sender = m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(refusing.port())));
    ASSERT_TRUE(m_recorder.waitDisconnected());
    EXPECT_EQ(m_recorder.last(0, 0), "the server refused the subscription of command 5: Not authorized");
    EXPECT_EQ(m_recorder.count(0, 1), 0U);
    EXPECT_FALSE(Send(sender, "x"));
    StopWithinASecond(m_center);
    EXPECT_EQ(m_recorder.count(0, 0), 1U);
}

TEST_F(LimitsTest, TheServersReasonForClosingIsTold) {
    ScriptedServer closing([](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept() || !connection.answerSubscribe(0, topic)) return;
        connection.sendPacket(0xe0, std::string("\x8b\x00", 2));
        connection.drain();
    });
    connect(closing.port());
    ASSERT_TRUE(m_recorder.waitDisconnected());
    EXPECT_NE(m_recorder.last(0, 0).find("Server shutting down"), std::string::npos) << m_recorder.last(0, 0);
}

TEST_F(LimitsTest, ManyOfTheLargestDownlinksLeaveTheProcessAsSmallAsBefore) {
    if (!support::kResidentTells) GTEST_SKIP() << "sanitizers keep freed memory";
    constexpr int kPackets = 4000;
    ScriptedServer rude([](ScriptedConnection& connection) {
        std::string topic;
        if (!connection.accept() || !connection.answerSubscribe(0, topic)) return;
        const std::string packet = DownlinkOf(65536, topic);
        for (int i = 0; i < kPackets; ++i)
            connection.send(packet);
        connection.drain();
    });
    std::atomic<int> received{0};
    m_center.createSender(
        5,
        [](void* user, int type, int, const unsigned char*, std::size_t) {
            if (type == 1) ++*static_cast<std::atomic<int>*>(user);
        },
        &received);
    ASSERT_TRUE(m_center.start(Config(rude.port())));
    ASSERT_TRUE(Eventually([&] { return received > kPackets / 10; }));
    const long before = support::ResidentKiB();
    ASSERT_TRUE(Eventually([&] { return received == kPackets; }));
    EXPECT_LT(support::ResidentKiB() - before, 4'000);
}

double ProcessorSeconds() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Waits by sleeping: what is looked for is a network thread that does not sleep.
double ProcessorSecondsWithinASecond() {
    const double before = ProcessorSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    return ProcessorSeconds() - before;
}

TEST_F(LimitsTest, AnIdleConnectionUsesNoProcessor) {
    Broker broker;
    connect(broker.port());
    EXPECT_LT(ProcessorSecondsWithinASecond(), 0.5);
}

TEST_F(LimitsTest, ATlsHandshakeThatHangsUsesNoProcessor) {
    std::atomic<bool> greeted{false};
    ScriptedServer silent([&](ScriptedConnection& connection) {
        greeted = true;
        connection.drain();
    });
    Config config(silent.port());
    config->intValue2 = 1;
    ASSERT_TRUE(m_center.start(config));
    ASSERT_TRUE(Eventually([&] { return greeted.load(); }));
    EXPECT_LT(ProcessorSecondsWithinASecond(), 0.5);
}

}  // namespace
