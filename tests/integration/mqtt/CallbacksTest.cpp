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
void flood(ScriptedConnection& connection) {
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
    ScriptedServer server(flood);
    ASSERT_TRUE(center.start(Config(server.port())));
    const auto openAndClose = [this](int cmd) {
        for (int round = 0; round < 60; ++round) {
            auto own = std::make_unique<Recorder>();
            QoPlayer::MsgSender* const sender = center.createSender(cmd, Recorder::callback, own.get());
            ASSERT_NE(sender, nullptr);
            if (round % 3 != 0) Eventually([&] { return !own->events().empty(); });
            center.closeSender(cmd);
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
    ScriptedServer server(flood);
    recorder.then = [this](const Recorder::Event& event) {
        if (event.msgType == 1) center.closeSender(7);
    };
    center.createSender(7, Recorder::callback, &recorder);
    center.createSender(8, Recorder::callback, &other);
    ASSERT_TRUE(center.start(Config(server.port())));
    ASSERT_TRUE(other.waitPackets(50));
    EXPECT_EQ(recorder.packets().size(), 1U);
}

TEST_F(CallbacksTest, ASenderMaySendAndOpenAnotherInItsCallback) {
    Broker broker;
    WireWatcher watcher(broker);
    std::atomic<QoPlayer::MsgSender*> sender{nullptr};
    recorder.then = [&](const Recorder::Event& event) {
        if (event.code != 1) return;
        EXPECT_TRUE(Send(sender, "from the callback"));
        EXPECT_NE(center.createSender(6, Recorder::callback, &other), nullptr);
    };
    sender = center.createSender(5, Recorder::callback, &recorder);
    ASSERT_TRUE(center.start(Config(broker.port())));
    EXPECT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_TRUE(other.waitConnected());
    StopWithinASecond(center);
}

TEST_F(CallbacksTest, AClosedAndReopenedCommandReceivesAgain) {
    Broker broker;
    WireWatcher watcher(broker);
    QoPlayer::MsgSender* sender = center.createSender(5, Recorder::callback, &recorder);
    ASSERT_TRUE(center.start(Config(broker.port())));
    ASSERT_TRUE(recorder.waitConnected());
    ASSERT_TRUE(Send(sender, "first"));
    center.closeSender(5);
    sender = center.createSender(5, Recorder::callback, &other);
    ASSERT_NE(sender, nullptr);
    ASSERT_TRUE(other.waitConnected());
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    support::Publish(broker, watcher.on("/up/5")[0].responseTopic, "hello");
    EXPECT_TRUE(other.waitPackets());
    EXPECT_TRUE(recorder.packets().empty());
}

TEST_F(CallbacksTest, AClosedSenderRefusesAndIsTheSameObjectWhenItsCommandIsOpenedAgain) {
    Broker broker;
    WireWatcher watcher(broker);
    QoPlayer::MsgSender* const first = center.createSender(5, Recorder::callback, &recorder);
    ASSERT_TRUE(center.start(Config(broker.port())));
    ASSERT_TRUE(recorder.waitConnected());
    center.closeSender(5);
    EXPECT_FALSE(Send(first, "closed"));
    center.closeSender(5);  // again: nothing to close
    EXPECT_FALSE(Send(first, "closed"));

    ASSERT_EQ(center.createSender(5, Recorder::callback, &other), first);
    ASSERT_TRUE(other.waitConnected());
    EXPECT_TRUE(Send(first, "open again"));
    ASSERT_TRUE(watcher.waitFor("/up/5"));
    EXPECT_EQ(watcher.on("/up/5")[0].payload, "open again");
}

TEST_F(CallbacksTest, AnOldPointerMayBeUsedOnAnotherThreadWhileItsCommandIsClosedAndOpenedAgain) {
    Broker broker;
    ASSERT_TRUE(center.start(Config(broker.port())));
    QoPlayer::MsgSender* const sender = center.createSender(5, Recorder::callback, &recorder);
    ASSERT_NE(sender, nullptr);
    std::atomic<bool> done{false};
    std::thread user([&] {
        while (!done)
            Send(sender, "{}");
    });
    for (int i = 0; i < 200; ++i) {
        center.closeSender(5);
        ASSERT_EQ(center.createSender(5, Recorder::callback, &other), sender);
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
                QoPlayer::MsgSender* const sender = center.createSender(cmd, Recorder::callback, own.get());
                Send(sender, "{}", "{}");
                center.closeSender(cmd);
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(center.start(Config(broker.port())));
        CenterLog::waitFor("connected to", static_cast<std::size_t>(i) + 1);
        StopWithinASecond(center);
    }
    done = true;
    for (std::thread& thread : threads)
        thread.join();
}

using ExitTest = CenterTest;

void ignore(void*, int, int, const unsigned char*, std::size_t) {}

TEST_F(ExitTest, AProcessThatEndsWithAConnectedCenterEndsWell) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto connectAndExit = [] {
        Broker broker;
        CenterLog::install();
        static QoPlayer::MsgCenter connected;
        QoPlayer::MsgSender* const sender = connected.createSender(2, ignore, nullptr);
        connected.start(Config(broker.port()));
        const bool sent = Eventually([&] { return Send(sender, "last"); });
        std::exit(sent ? 0 : 1);
    };
    EXPECT_EXIT(connectAndExit(), testing::ExitedWithCode(0), "");
}

}  // namespace
