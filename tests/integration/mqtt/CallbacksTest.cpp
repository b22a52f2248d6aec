#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>

#include "integration/mqtt/CenterTest.h"
#include "integration/support/ScriptedServer.h"

using support::Broker;
using support::Eventually;
using support::Recorder;
using support::ScriptedConnection;
using support::ScriptedServer;
using support::WireWatcher;

namespace {

/// Acknowledges every subscription and floods the topic that it was for, for as long as anybody listens.
void Flood(ScriptedConnection& connection) {
    std::string topic;
    if (!connection.accept()) return;
    while (connection.answerSubscribe(0, topic)) {
        const std::string publish = support::MqttString(topic) + '\0' + "{}";
        for (int i = 0; i < 50; ++i)
            if (!connection.sendPacket(0x30, publish)) return;
    }
}

using CallbacksTest = CenterTest;

TEST_F(CallbacksTest, NoneComesOnceCloseSenderHasReturned) {
    ScriptedServer server(Flood);
    ASSERT_TRUE(m_center.start(Config(server.port())));
    const auto openAndClose = [this](int cmd) {
        for (int round = 0; round < 60; ++round) {
            auto own = std::make_unique<Recorder>();
            QoPlayer::MsgSender* const sender = m_center.createSender(cmd, Recorder::callback, own.get());
            ASSERT_NE(sender, nullptr);
            if (round % 3 != 0) Eventually([&] { return !own->events().empty(); });
            m_center.closeSender(cmd);
            own.reset();  // a callback now would use what is gone
        }
    };
    std::thread one([&] { openAndClose(1); });
    std::thread two([&] { openAndClose(2); });
    openAndClose(3);
    one.join();
    two.join();
}

TEST_F(CallbacksTest, ASenderMayCloseItselfInItsCallback) {
    ScriptedServer server(Flood);
    m_recorder.then = [this](const Recorder::Event& event) {
        if (event.msgType == 1) m_center.closeSender(7);
    };
    m_center.createSender(7, Recorder::callback, &m_recorder);
    m_center.createSender(8, Recorder::callback, &m_other);
    ASSERT_TRUE(m_center.start(Config(server.port())));
    ASSERT_TRUE(m_other.waitPackets(50));
    EXPECT_EQ(m_recorder.packets().size(), 1U);
}

TEST_F(CallbacksTest, ASenderMaySendAndOpenAnotherInItsCallback) {
    Broker broker;
    WireWatcher watcher(broker);
    std::atomic<QoPlayer::MsgSender*> sender{nullptr};
    m_recorder.then = [&](const Recorder::Event& event) {
        if (event.code != 1) return;
        EXPECT_TRUE(Send(sender, "from the callback"));
        EXPECT_NE(m_center.createSender(6, Recorder::callback, &m_other), nullptr);
    };
    sender = m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(broker.port())));
    EXPECT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_TRUE(m_other.waitConnected());
    StopWithinASecond(m_center);
}

TEST_F(CallbacksTest, AClosedAndReopenedCommandReceivesAgain) {
    Broker broker;
    WireWatcher watcher(broker);
    QoPlayer::MsgSender* sender = m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(broker.port())));
    ASSERT_TRUE(m_recorder.waitConnected());
    ASSERT_TRUE(Send(sender, "first"));
    m_center.closeSender(5);
    sender = m_center.createSender(5, Recorder::callback, &m_other);
    ASSERT_NE(sender, nullptr);
    ASSERT_TRUE(m_other.waitConnected());
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    support::Publish(broker, watcher.on("/up/5")[0].responseTopic, "hello");
    EXPECT_TRUE(m_other.waitPackets());
    EXPECT_TRUE(m_recorder.packets().empty());
}

TEST_F(CallbacksTest, AClosedSenderRefusesAndIsTheSameObjectWhenItsCommandIsOpenedAgain) {
    Broker broker;
    WireWatcher watcher(broker);
    QoPlayer::MsgSender* const first = m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_TRUE(m_center.start(Config(broker.port())));
    ASSERT_TRUE(m_recorder.waitConnected());
    m_center.closeSender(5);
    EXPECT_FALSE(Send(first, "closed"));
    m_center.closeSender(5);  // again: nothing to close
    EXPECT_FALSE(Send(first, "closed"));

    ASSERT_EQ(m_center.createSender(5, Recorder::callback, &m_other), first);
    ASSERT_TRUE(m_other.waitConnected());
    EXPECT_TRUE(Send(first, "open again"));
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_EQ(watcher.on("/up/5")[0].payload, "open again");
}

TEST_F(CallbacksTest, AnOldPointerMayBeUsedOnAnotherThreadWhileItsCommandIsClosedAndOpenedAgain) {
    Broker broker;
    ASSERT_TRUE(m_center.start(Config(broker.port())));
    QoPlayer::MsgSender* const sender = m_center.createSender(5, Recorder::callback, &m_recorder);
    ASSERT_NE(sender, nullptr);
    std::atomic<bool> done{false};
    std::thread user([&] {
        while (!done)
            Send(sender, "{}");
    });
    for (int i = 0; i < 200; ++i) {
        m_center.closeSender(5);
        ASSERT_EQ(m_center.createSender(5, Recorder::callback, &m_other), sender);
    }
    EXPECT_TRUE(Eventually([&] { return Send(sender, "last"); }));
    done = true;
    user.join();
}

TEST_F(CallbacksTest, SendersComeAndGoOnFourThreadsWhileTheCenterStartsAndStops) {
    Broker broker;
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int cmd = 1; cmd <= 4; ++cmd) {
        threads.emplace_back([this, cmd, &done] {
            while (!done) {
                auto own = std::make_unique<Recorder>();
                QoPlayer::MsgSender* const sender = m_center.createSender(cmd, Recorder::callback, own.get());
                Send(sender, "{}", "{}");
                m_center.closeSender(cmd);
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(m_center.start(Config(broker.port())));
        CenterLog::waitFor("connected to", static_cast<std::size_t>(i) + 1);
        StopWithinASecond(m_center);
    }
    done = true;
    for (std::thread& thread : threads)
        thread.join();
}

using ExitTest = CenterTest;

void Ignore(void*, int, int, const unsigned char*, std::size_t) {}

TEST_F(ExitTest, AProcessThatEndsWithAConnectedCenterEndsWell) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto connectAndExit = [] {
        Broker broker;
        CenterLog::install();
        static QoPlayer::MsgCenter connected;
        QoPlayer::MsgSender* const sender = connected.createSender(2, Ignore, nullptr);
        connected.start(Config(broker.port()));
        const bool sent = Eventually([&] { return Send(sender, "last"); });
        std::exit(sent ? 0 : 1);
    };
    EXPECT_EXIT(connectAndExit(), testing::ExitedWithCode(0), "");
}

}  // namespace
