#include <atomic>
#include <thread>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/Relay.h"

using support::Broker;
using support::Recorder;
using support::WireMessage;
using support::WireWatcher;

namespace {

std::string PrefixOf(const WireMessage& message) {
    return message.topic.substr(0, message.topic.find('/', message.topic.find('/', 7) + 1));
}

class MessagesTest : public CenterTest {
protected:
    QoPlayer::MsgSender* connect(int cmd) {
        QoPlayer::MsgSender* const sender = m_center.createSender(cmd, Recorder::callback, &m_recorder);
        EXPECT_TRUE(m_center.start(Config(m_broker.port())));
        EXPECT_TRUE(m_recorder.waitConnected());
        return sender;
    }

    std::string downTopic(int cmd) {
        EXPECT_TRUE(m_watcher.waitFor("/presence"));
        return PrefixOf(m_watcher.on("/presence")[0]) + "/down/" + std::to_string(cmd);
    }

    Broker m_broker;
    WireWatcher m_watcher{m_broker};
};

TEST_F(MessagesTest, AMessageArrivesByteForByteWithItsHeadAndProperties) {
    QoPlayer::MsgSender* const sender = connect(5);
    const std::string body("{\"a\":1,\"b\":\"\xe4\xbd\xa0\"}\n\0\xff tail", 26);
    ASSERT_TRUE(Send(sender, body, "{\"event\":1,\"mid\":\"7\"}\n"));
    ASSERT_TRUE(m_watcher.waitFor("/up/5"));
    const WireMessage message = m_watcher.on("/up/5")[0];
    EXPECT_EQ(message.payload, body);
    EXPECT_EQ(message.head(), "{\"event\":1,\"mid\":\"7\"}");
    EXPECT_EQ(message.qos, 1);
    EXPECT_FALSE(message.retained);
    EXPECT_EQ(message.contentType, "application/json");
    EXPECT_EQ(message.responseTopic, PrefixOf(message) + "/down/5");
    EXPECT_EQ(PrefixOf(message).substr(0, 16), "qolive/studio-7/");
    EXPECT_EQ(PrefixOf(message).size(), 24U);
}

TEST_F(MessagesTest, AMessageWithoutAHeadCarriesNone) {
    ASSERT_TRUE(Send(connect(5), "{}"));
    ASSERT_TRUE(m_watcher.waitFor("/up/5"));
    EXPECT_EQ(m_watcher.on("/up/5")[0].userProperties, "");
}

TEST_F(MessagesTest, AnEmptyMessageArrivesEmpty) {
    QoPlayer::MsgSender* const sender = connect(5);
    ASSERT_TRUE(sender->send(nullptr, 0, nullptr, 0));
    ASSERT_TRUE(m_watcher.waitFor("/up/5"));
    EXPECT_EQ(m_watcher.on("/up/5")[0].payload, "");
}

TEST_F(MessagesTest, MessagesArriveInTheOrderOfSending) {
    QoPlayer::MsgSender* const sender = connect(4);
    for (int i = 0; i < 300; ++i)
        ASSERT_TRUE(Send(sender, std::to_string(i)));
    ASSERT_TRUE(m_watcher.waitFor("/up/4", 300));
    const std::vector<WireMessage> messages = m_watcher.on("/up/4");
    for (std::size_t i = 0; i < 300; ++i)
        ASSERT_EQ(messages[i].payload, std::to_string(i));
}

TEST_F(MessagesTest, ADownlinkReachesTheSenderOfItsCommandOnly) {
    m_center.createSender(4, Recorder::callback, &m_other);
    connect(2);
    ASSERT_TRUE(m_other.waitConnected());
    support::Publish(m_broker, downTopic(2), "{\"type\":3}");
    ASSERT_TRUE(m_recorder.waitPackets());
    EXPECT_EQ(m_recorder.packets(), std::vector<std::string>{"{\"type\":3}"});
    EXPECT_TRUE(m_other.packets().empty());
}

TEST_F(MessagesTest, ASenderOpenedAfterTheConnectionIsToldAndReceives) {
    connect(2);
    QoPlayer::MsgSender* const sender = m_center.createSender(5, Recorder::callback, &m_other);
    ASSERT_NE(sender, nullptr);
    ASSERT_TRUE(m_other.waitConnected());
    support::Publish(m_broker, downTopic(5), "late");
    ASSERT_TRUE(m_other.waitPackets());
    EXPECT_TRUE(Send(sender, "up"));
    EXPECT_TRUE(m_watcher.waitFor("/up/5"));
    EXPECT_EQ(m_recorder.packets().size(), 0U);
}

TEST_F(MessagesTest, PresenceIsOnlineOnConnectingAndOfflineOnStopping) {
    connect(5);
    ASSERT_TRUE(m_watcher.waitFor("/presence", 1));
    StopWithinASecond(m_center);
    ASSERT_TRUE(m_watcher.waitFor("/presence", 2));
    EXPECT_EQ(m_watcher.on("/presence")[0].payload, "{\"online\":true}");
    EXPECT_EQ(m_watcher.on("/presence")[1].payload, "{\"online\":false}");
    EXPECT_EQ(m_recorder.count(0, 0), 1U);
    EXPECT_EQ(m_recorder.last(0, 0), "stopped");
}

TEST_F(MessagesTest, WhatWasSentJustBeforeStopStillArrives) {
    QoPlayer::MsgSender* const sender = connect(5);
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(Send(sender, "last words"));
    StopWithinASecond(m_center);
    EXPECT_TRUE(m_watcher.waitFor("/up/5", 100));
}

/// Ends the callbacks before what they use goes.
struct Stopped {
    QoPlayer::MsgCenter& center;
    ~Stopped() { center.stop(); }
};

// Its user learns of the loss from the callback: what it sends until then, on whatever thread, must not be
// lost.
TEST_F(MessagesTest, WhatIsSentBeforeTheSenderHasHeardOfTheLossIsKept) {
    support::Relay relay(m_broker.port());
    std::atomic<QoPlayer::MsgSender*> sender{nullptr};
    std::atomic<bool> accepted{false};
    m_recorder.then = [&](const Recorder::Event& event) {
        if (event.msgType == 0 && event.code == 0 && !accepted)
            std::thread([&] { accepted = Send(sender, "while the link goes down"); }).join();
    };
    const Stopped stopped{m_center};
    sender = m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(relay.port())));
    ASSERT_TRUE(m_recorder.waitConnected());
    relay.cut();
    ASSERT_TRUE(m_recorder.waitConnected(2));
    EXPECT_TRUE(accepted);
    ASSERT_TRUE(m_watcher.waitFor("/up/5"));
    EXPECT_EQ(m_watcher.on("/up/5")[0].payload, "while the link goes down");
}

TEST_F(MessagesTest, WhatIsSentWhileAStopTellsTheSenderIsRefused) {
    std::atomic<QoPlayer::MsgSender*> sender{nullptr};
    std::atomic<bool> accepted{false};
    m_recorder.then = [&](const Recorder::Event& event) {
        if (event.msgType == 0 && event.code == 0) accepted = Send(sender, "too late");
    };
    sender = connect(5);
    StopWithinASecond(m_center);
    EXPECT_EQ(m_recorder.count(0, 0), 1U);
    EXPECT_FALSE(accepted);
}

TEST_F(MessagesTest, AfterStopASenderRefusesAndComesAliveWithTheNextStart) {
    QoPlayer::MsgSender* const sender = connect(5);
    StopWithinASecond(m_center);
    EXPECT_FALSE(Send(sender, "nobody hears this"));
    ASSERT_TRUE(m_center.start(Config(m_broker.port())));
    ASSERT_TRUE(m_recorder.waitConnected(2));
    EXPECT_TRUE(Send(sender, "again"));
    ASSERT_TRUE(m_watcher.waitFor("/up/5"));
    EXPECT_EQ(m_watcher.on("/up/5")[0].payload, "again");
}

TEST_F(MessagesTest, EveryStartIsAConnectionOfItsOwn) {
    connect(5);
    StopWithinASecond(m_center);
    ASSERT_TRUE(m_center.start(Config(m_broker.port())));
    ASSERT_TRUE(m_watcher.waitFor("/presence", 3));
    EXPECT_NE(PrefixOf(m_watcher.on("/presence")[0]), PrefixOf(m_watcher.on("/presence")[2]));
}

}  // namespace
