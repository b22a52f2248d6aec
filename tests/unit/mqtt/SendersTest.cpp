#include "mqtt/Senders.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>
#include <utility>

using QoPlayer::mqtt::Senders;

namespace {

constexpr auto kPatience = std::chrono::seconds(20);

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
    Senders::Handle open(int cmd) { return m_senders.open(cmd, Call::callback, &m_call); }

    Call m_call;
    Senders m_senders;
};

TEST_F(SendersTest, ACommandHasOneSender) {
    EXPECT_NE(open(2), nullptr);
    EXPECT_EQ(open(2), nullptr);
    EXPECT_NE(open(-7), nullptr);
}

TEST_F(SendersTest, AClosedCommandCanBeOpenedAgain) {
    open(2);
    EXPECT_NE(m_senders.close(2), nullptr);
    EXPECT_EQ(m_senders.close(2), nullptr);
    EXPECT_NE(open(2), nullptr);
}

TEST_F(SendersTest, NoCallbackComesAfterClosing) {
    const Senders::Handle sender = open(2);
    m_senders.notify(sender, 1, 0, "x", 1);
    m_senders.close(2);
    m_senders.notify(sender, 1, 0, "x", 1);
    EXPECT_EQ(m_call.count, 1);
}

TEST_F(SendersTest, ASenderClosesItselfFromItsCallback) {
    const Senders::Handle sender = open(2);
    m_call.action = [&] { m_senders.close(2); };
    m_senders.notify(sender, 1, 0, "x", 1);
    m_senders.notify(sender, 1, 0, "x", 1);
    EXPECT_EQ(m_call.count, 1);
}

/// A callback that runs on a thread of its own until it is let go.
class HeldCallback {
public:
    HeldCallback(Senders& senders, const Senders::Handle& sender, Call& call) {
        call.action = [this] {
            m_entered.set_value();
            m_letGo.get_future().wait();
            left = true;
        };
        m_network = std::thread([&senders, sender] { senders.notify(sender, 1, 0, "x", 1); });
        m_entered.get_future().wait();
    }
    ~HeldCallback() {
        letGo();
        m_network.join();
    }
    HeldCallback(const HeldCallback&) = delete;
    HeldCallback& operator=(const HeldCallback&) = delete;

    void letGo() {
        if (!std::exchange(m_isLetGo, true)) m_letGo.set_value();
    }

    std::atomic<bool> left{false};

private:
    std::promise<void> m_entered;
    std::promise<void> m_letGo;
    bool m_isLetGo = false;
    std::thread m_network;
};

TEST_F(SendersTest, ClosingWaitsForTheCallbackThatRuns) {
    const Senders::Handle sender = open(2);
    HeldCallback callback(m_senders, sender, m_call);
    auto closing = std::async(std::launch::async, [&] {
        m_senders.close(2);
        return callback.left.load();
    });
    while (!sender->closed)
        std::this_thread::yield();
    EXPECT_NE(open(3), nullptr) << "no lock is held during the callback";
    EXPECT_EQ(closing.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    callback.letGo();
    ASSERT_EQ(closing.wait_for(kPatience), std::future_status::ready) << "nobody told it";
    EXPECT_TRUE(closing.get());
}

TEST_F(SendersTest, ClosingWhatAnotherThreadHasClosedWaitsForTheCallbackThatRunsToo) {
    const Senders::Handle sender = open(2);
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left{false};
    m_call.action = [&] {
        m_senders.close(2);  // from inside: does not wait
        entered.set_value();
        leave.get_future().wait();
        left = true;
    };
    std::thread network([&] { m_senders.notify(sender, 1, 0, "x", 1); });
    entered.get_future().wait();
    std::atomic<bool> closing{false};
    std::thread closer([&] {
        closing = true;
        EXPECT_EQ(m_senders.close(2), nullptr);
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
    m_senders.close(2);
    const Senders::Handle successor = open(2);
    m_call.action = [&] { EXPECT_EQ(m_senders.close(3), nullptr); };
    m_senders.notify(successor, 1, 0, "x", 1);
    EXPECT_EQ(m_call.count, 1);
}

TEST_F(SendersTest, ClosingAnotherSenderDoesNotWaitForTheCallbackThatRuns) {
    const Senders::Handle sender = open(2);
    open(3);
    HeldCallback callback(m_senders, sender, m_call);
    const auto closing = std::async(std::launch::async, [&] { return m_senders.close(3) != nullptr; });
    EXPECT_EQ(closing.wait_for(kPatience), std::future_status::ready);
    EXPECT_FALSE(callback.left);
}

TEST_F(SendersTest, ACallbackMayCloseAnotherSender) {
    const Senders::Handle sender = open(2);
    open(3);
    m_call.action = [&] { EXPECT_NE(m_senders.close(3), nullptr); };
    m_senders.notify(sender, 1, 0, "x", 1);
    EXPECT_EQ(m_senders.find(3), nullptr);
}

TEST_F(SendersTest, ACallbackThatThrowsEndsThere) {
    const Senders::Handle sender = open(2);
    m_call.action = [] { throw std::runtime_error("host"); };
    m_senders.notify(sender, 1, 0, "x", 1);
    EXPECT_NE(m_senders.close(2), nullptr);
}

TEST_F(SendersTest, ChangesAreSeenOnce) {
    EXPECT_FALSE(m_senders.takeChanged());
    open(2);
    EXPECT_TRUE(m_senders.takeChanged());
    EXPECT_FALSE(m_senders.takeChanged());
    m_senders.close(2);
    EXPECT_TRUE(m_senders.takeChanged());
    EXPECT_EQ(m_senders.takeClosed(), std::set<int>{2});
    EXPECT_TRUE(m_senders.takeClosed().empty());
}

TEST_F(SendersTest, CloseRacesWithCallbacksAndFreesWhatTheyUse) {
    for (int round = 0; round < 200; ++round) {
        auto own = std::make_unique<Call>();
        const Senders::Handle sender = m_senders.open(5, Call::callback, own.get());
        std::thread network([&] {
            for (int i = 0; i < 20; ++i)
                m_senders.notify(sender, 1, 0, "x", 1);
        });
        m_senders.close(5);
        own.reset();
        network.join();
    }
}

}  // namespace
