#include "platform/mqtt/Senders.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>

using QoPlayer::mqtt::Senders;

namespace {

struct Call {
    std::function<void()> action;
    std::atomic<int> count{0};

    static void callback(void* user, int, int, const unsigned char*, std::size_t) {
        auto* const self = static_cast<Call*>(user);
        ++self->count;
        if (self->action) self->action();
    }
};

class SendersTest : public testing::Test {
protected:
    Senders::Handle open(int cmd) { return senders.open(cmd, Call::callback, &call); }

    Call call;
    Senders senders;
};

TEST_F(SendersTest, ACommandHasOneSender) {
    EXPECT_NE(open(2), nullptr);
    EXPECT_EQ(open(2), nullptr);
    EXPECT_NE(open(-7), nullptr);
}

TEST_F(SendersTest, AClosedCommandCanBeOpenedAgain) {
    open(2);
    EXPECT_NE(senders.close(2), nullptr);
    EXPECT_EQ(senders.close(2), nullptr);
    EXPECT_NE(open(2), nullptr);
}

TEST_F(SendersTest, NoCallbackComesAfterClosing) {
    const Senders::Handle sender = open(2);
    senders.notify(sender, 1, 0, "x", 1);
    senders.close(2);
    senders.notify(sender, 1, 0, "x", 1);
    EXPECT_EQ(call.count, 1);
}

TEST_F(SendersTest, ASenderClosesItselfFromItsCallback) {
    const Senders::Handle sender = open(2);
    call.action = [&] { senders.close(2); };
    senders.notify(sender, 1, 0, "x", 1);
    senders.notify(sender, 1, 0, "x", 1);
    EXPECT_EQ(call.count, 1);
}

TEST_F(SendersTest, ClosingWaitsForTheCallbackThatRuns) {
    const Senders::Handle sender = open(2);
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left{false};
    call.action = [&] {
        entered.set_value();
        leave.get_future().wait();
        left = true;
    };
    std::thread network([&] { senders.notify(sender, 1, 0, "x", 1); });
    entered.get_future().wait();
    std::thread closer([&] {
        senders.close(2);
        EXPECT_TRUE(left);
    });
    EXPECT_NE(open(3), nullptr);  // no lock is held during the callback
    leave.set_value();
    closer.join();
    network.join();
}

TEST_F(SendersTest, ClosingWhatAnotherThreadHasClosedWaitsForTheCallbackThatRunsToo) {
    const Senders::Handle sender = open(2);
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left{false};
    call.action = [&] {
        senders.close(2);  // from inside: does not wait
        entered.set_value();
        leave.get_future().wait();
        left = true;
    };
    std::thread network([&] { senders.notify(sender, 1, 0, "x", 1); });
    entered.get_future().wait();
    std::atomic<bool> closing{false};
    std::thread closer([&] {
        closing = true;
        EXPECT_EQ(senders.close(2), nullptr);
        EXPECT_TRUE(left);
    });
    while (!closing)
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    leave.set_value();
    closer.join();
    network.join();
}

TEST_F(SendersTest, ClosingDoesNotWaitForTheCallbackOfAnOpenSuccessor) {
    open(2);
    senders.close(2);
    const Senders::Handle successor = open(2);
    call.action = [&] { EXPECT_EQ(senders.close(3), nullptr); };
    senders.notify(successor, 1, 0, "x", 1);
    EXPECT_EQ(call.count, 1);
}

TEST_F(SendersTest, ClosingAnotherSenderDoesNotWaitForTheCallbackThatRuns) {
    const Senders::Handle sender = open(2);
    open(3);
    call.action = [&] { EXPECT_NE(senders.close(3), nullptr); };
    senders.notify(sender, 1, 0, "x", 1);
    EXPECT_EQ(senders.find(3), nullptr);
}

TEST_F(SendersTest, ACallbackThatThrowsEndsThere) {
    const Senders::Handle sender = open(2);
    call.action = [] { throw std::runtime_error("host"); };
    senders.notify(sender, 1, 0, "x", 1);
    EXPECT_NE(senders.close(2), nullptr);
}

TEST_F(SendersTest, ChangesAreSeenOnce) {
    EXPECT_FALSE(senders.takeChanged());
    open(2);
    EXPECT_TRUE(senders.takeChanged());
    EXPECT_FALSE(senders.takeChanged());
    senders.close(2);
    EXPECT_TRUE(senders.takeChanged());
    EXPECT_EQ(senders.takeClosed(), std::set<int>{2});
    EXPECT_TRUE(senders.takeClosed().empty());
}

TEST_F(SendersTest, CloseRacesWithCallbacksAndFreesWhatTheyUse) {
    for (int round = 0; round < 200; ++round) {
        auto own = std::make_unique<Call>();
        const Senders::Handle sender = senders.open(5, Call::callback, own.get());
        std::thread network([&] {
            for (int i = 0; i < 20; ++i)
                senders.notify(sender, 1, 0, "x", 1);
        });
        senders.close(5);
        own.reset();
        network.join();
    }
}

}  // namespace
