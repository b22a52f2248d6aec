#include "mqtt/Outbox.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

using QoPlayer::mqtt::Message;
using QoPlayer::mqtt::Outbox;

namespace {

class OutboxTest : public testing::Test {
protected:
    void SetUp() override { m_outbox.open(); }

    bool add(const std::string& body, const std::string& head = "") { return addTo(kRecord, body, head); }

    bool addTo(int cmd, const std::string& body, const std::string& head = "") {
        return m_outbox.add({cmd, body, head, m_now});
    }

    const Message* next(std::size_t messages = 64) {
        return m_outbox.nextToPublish({messages, kBytes}, m_now);
    }

    std::string publishNext(int mid, std::size_t messages = 64) {
        const Message* const message = next(messages);
        if (!message) return "none";
        const std::string body = message->body;
        m_outbox.published(mid, body.size(), m_now);
        return body;
    }

    /// What is told of the messages so far, which must add up at any time.
    QoPlayer::MsgCenterCounters counters() {
        const QoPlayer::MsgCenterCounters told = m_outbox.counters(m_now);
        EXPECT_EQ(told.accepted, told.acknowledged + told.refused + told.droppedUnusable + told.droppedLate +
                                     told.droppedAtReconnect + told.droppedAtStop + told.waiting);
        return told;
    }

    static constexpr int kHeartbeat = 2;
    static constexpr int kCommand = 4;
    static constexpr int kRecord = 5;
    static constexpr std::size_t kBytes = 1000;  ///< of records that may be in flight
    static constexpr std::size_t kMostMessages = 4096;
    static constexpr std::size_t kMostBytes = 4'194'304;

    Outbox m_outbox;
    Outbox::Clock::time_point m_now = Outbox::Clock::time_point() + std::chrono::hours(1);
};

TEST_F(OutboxTest, AcceptsNothingUntilItIsOpened) {
    Outbox closed;
    EXPECT_FALSE(closed.add({5, "a", "", {}}));
}

TEST_F(OutboxTest, GivesMessagesInOrderOnceEach) {
    add("a");
    add("b");
    EXPECT_EQ(publishNext(1), "a");
    EXPECT_EQ(publishNext(2), "b");
    EXPECT_EQ(publishNext(3), "none");
}

TEST_F(OutboxTest, AcknowledgementsMayComeInAnyOrder) {
    for (const char* body : {"a", "b", "c"})
        add(body);
    for (int mid = 1; mid <= 3; ++mid)
        publishNext(mid);
    EXPECT_TRUE(m_outbox.acknowledged(2).has_value());
    EXPECT_TRUE(m_outbox.acknowledged(3).has_value());
    EXPECT_FALSE(m_outbox.empty());
    EXPECT_TRUE(m_outbox.acknowledged(1).has_value());
    EXPECT_TRUE(m_outbox.empty());
}

TEST_F(OutboxTest, AnAcknowledgementOfNothingInFlightIsIgnored) {
    add("a");
    EXPECT_FALSE(m_outbox.acknowledged(0).has_value());
    EXPECT_FALSE(m_outbox.acknowledged(9).has_value());
    publishNext(1);
    EXPECT_TRUE(m_outbox.acknowledged(1).has_value());
    EXPECT_FALSE(m_outbox.acknowledged(1).has_value());
}

TEST_F(OutboxTest, AfterALostConnectionTheUnacknowledgedComeAgainInOrder) {
    for (const char* body : {"a", "b", "c"})
        add(body);
    publishNext(1);
    publishNext(2);
    m_outbox.acknowledged(1);
    m_outbox.connectionLost();
    EXPECT_FALSE(m_outbox.acknowledged(2).has_value());
    EXPECT_EQ(publishNext(1), "b");
    EXPECT_EQ(publishNext(2), "c");
}

TEST_F(OutboxTest, NoMoreThanTheMostInFlightAreGiven) {
    add("a");
    add("b");
    EXPECT_EQ(next(0), nullptr);
    EXPECT_EQ(publishNext(1, 1), "a");
    EXPECT_EQ(next(1), nullptr);
    EXPECT_EQ(next(2), nullptr) << "one of two is kept for what goes before records";
    EXPECT_NE(next(3), nullptr);
}

TEST_F(OutboxTest, BytesInFlightAreBoundedButOneMessageAlwaysGoes) {
    add(std::string(kBytes + 1, 'x'));
    add("b");
    EXPECT_NE(publishNext(1), "none");
    EXPECT_EQ(publishNext(2), "none");
    m_outbox.acknowledged(1);
    EXPECT_EQ(publishNext(2), "b");
}

TEST_F(OutboxTest, ARecordFollowsUntilTheBytesInFlightReachTheBound) {
    add(std::string(kBytes - 1, 'x'));
    add("b");
    add("c");
    publishNext(1);
    EXPECT_EQ(publishNext(2), "b");
    EXPECT_EQ(publishNext(3), "none");
}

TEST_F(OutboxTest, HeartbeatsGoBeforeCommandsAndCommandsBeforeRecords) {
    add("record");
    addTo(kCommand, "command");
    addTo(kHeartbeat, "heartbeat");
    EXPECT_EQ(publishNext(1), "heartbeat");
    EXPECT_EQ(publishNext(2), "command");
    EXPECT_EQ(publishNext(3), "record");
}

TEST_F(OutboxTest, HeartbeatsAndCommandsGoWhileRecordsHaveNoRoom) {
    add(std::string(kBytes, 'x'));
    add("record");
    publishNext(1);
    addTo(kHeartbeat, "heartbeat");
    addTo(kCommand, "command");
    EXPECT_EQ(publishNext(2), "heartbeat");
    EXPECT_EQ(publishNext(3), "command");
    EXPECT_EQ(publishNext(4), "none");
}

TEST_F(OutboxTest, RecordsLeaveTwoOfManyMessagesFree) {
    for (int i = 0; i < 10; ++i)
        add("r");
    for (int mid = 1; mid <= 6; ++mid)
        ASSERT_EQ(publishNext(mid, 8), "r");
    EXPECT_EQ(publishNext(7, 8), "none");
    addTo(kHeartbeat, "heartbeat");
    addTo(kCommand, "command");
    EXPECT_EQ(publishNext(7, 8), "heartbeat");
    EXPECT_EQ(publishNext(8, 8), "command");
    addTo(kCommand, "command 2");
    EXPECT_EQ(publishNext(9, 8), "none");
}

TEST_F(OutboxTest, AFullLaneOfRecordsRefusesNoHeartbeat) {
    for (std::size_t i = 0; i < kMostMessages; ++i)
        ASSERT_TRUE(add("x"));
    EXPECT_FALSE(add("x"));
    EXPECT_TRUE(addTo(kHeartbeat, "heartbeat"));
    EXPECT_TRUE(addTo(kCommand, "command"));
}

TEST_F(OutboxTest, NoMoreThanTwoHeartbeatsAreInFlight) {
    for (const char* body : {"1", "2", "3"})
        addTo(kHeartbeat, body);
    addTo(kCommand, "command");
    publishNext(1);
    publishNext(2);
    EXPECT_EQ(publishNext(3), "command");
    EXPECT_EQ(publishNext(4), "none");
    m_outbox.acknowledged(1);
    EXPECT_EQ(publishNext(4), "3");
}

TEST_F(OutboxTest, AServerThatIsSlowToAcknowledgeGoesOnGettingHeartbeats) {
    addTo(kHeartbeat, "1");
    addTo(kHeartbeat, "2");
    publishNext(1);
    publishNext(2);
    m_now += std::chrono::milliseconds(5999);
    addTo(kHeartbeat, "3");
    EXPECT_EQ(publishNext(3), "none");
    m_now += std::chrono::milliseconds(1);
    EXPECT_EQ(publishNext(3), "3");
    EXPECT_EQ(m_outbox.takeExpired(), 0U);
}

TEST_F(OutboxTest, AHeartbeatLivesForItsPeriodAndNotLonger) {
    addTo(kHeartbeat, "old");
    m_now += std::chrono::seconds(3);
    addTo(kHeartbeat, "new");
    EXPECT_EQ(next()->body, "old");
    m_now += std::chrono::milliseconds(1);
    EXPECT_EQ(publishNext(1), "new");
    EXPECT_EQ(m_outbox.takeExpired(), 1U);
    EXPECT_EQ(m_outbox.takeExpired(), 0U);
}

TEST_F(OutboxTest, NothingButAHeartbeatExpires) {
    addTo(kCommand, "command");
    add("record");
    m_now += std::chrono::hours(1);
    EXPECT_EQ(publishNext(1), "command");
    EXPECT_EQ(publishNext(2), "record");
    EXPECT_EQ(m_outbox.takeExpired(), 0U);
}

TEST_F(OutboxTest, AHeartbeatInFlightDoesNotExpireButOneThatComesAgainDoes) {
    addTo(kHeartbeat, "heartbeat");
    publishNext(1);
    m_now += std::chrono::hours(1);
    EXPECT_EQ(next(), nullptr);
    m_outbox.connectionLost();
    EXPECT_EQ(next(), nullptr);
    EXPECT_EQ(m_outbox.takeExpired(), 1U);
    EXPECT_TRUE(m_outbox.empty());
}

TEST_F(OutboxTest, ForgettingHeartbeatsLeavesTheOthers) {
    addTo(kHeartbeat, "heartbeat");
    addTo(kCommand, "command");
    m_outbox.forgetHeartbeats();
    EXPECT_EQ(publishNext(1), "command");
    EXPECT_EQ(m_outbox.takeExpired(), 0U);
}

TEST_F(OutboxTest, WhatIsForgottenFreesItsBytes) {
    const std::string large(kMostBytes, 'x');
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(addTo(kHeartbeat, large)) << i;
        ASSERT_FALSE(addTo(kHeartbeat, ""));
        m_outbox.forgetHeartbeats();
    }
    ASSERT_TRUE(add(large));
    next();
    m_outbox.dropNext();
    EXPECT_TRUE(add(large));
}

TEST_F(OutboxTest, AnAcknowledgementTellsWhatItTook) {
    const auto published = m_now;
    add("four");
    publishNext(1);
    m_now += std::chrono::seconds(1);
    add("sixsix");
    publishNext(2);
    const auto delivery = m_outbox.acknowledged(1);
    ASSERT_TRUE(delivery);
    EXPECT_EQ(delivery->published, published);
    EXPECT_EQ(delivery->bytes, 4U);
    EXPECT_EQ(delivery->bytesInFlight, 10U);
    EXPECT_EQ(m_outbox.acknowledged(2)->bytesInFlight, 6U);
}

TEST_F(OutboxTest, BytesInFlightEndWithTheConnection) {
    add(std::string(kBytes, 'x'));
    add("b");
    publishNext(1);
    ASSERT_EQ(next(), nullptr);
    m_outbox.connectionLost();
    EXPECT_EQ(next()->body.size(), kBytes);
    publishNext(1);
    m_outbox.acknowledged(1);
    EXPECT_EQ(publishNext(2), "b");
}

TEST_F(OutboxTest, ADroppedMessageLetsTheNextThrough) {
    add("bad");
    add("good");
    ASSERT_NE(next(), nullptr);
    m_outbox.dropNext();
    EXPECT_EQ(publishNext(1), "good");
}

TEST_F(OutboxTest, Takes4096MessagesAndNotOneMore) {
    for (std::size_t i = 0; i < 4096; ++i)
        ASSERT_TRUE(add("x"));
    EXPECT_FALSE(add("x"));
    publishNext(1);
    EXPECT_FALSE(add("x"));
    m_outbox.acknowledged(1);
    EXPECT_TRUE(add("x"));
    EXPECT_FALSE(add("x"));
}

TEST_F(OutboxTest, TakesNoMoreOnce4MiBAreUnacknowledged) {
    const std::size_t most = 4 * 1024 * 1024;
    ASSERT_TRUE(add(std::string(most - 3, 'x'), "hh"));
    ASSERT_TRUE(add("y"));
    EXPECT_FALSE(add(""));
    publishNext(1);
    m_outbox.acknowledged(1);
    EXPECT_TRUE(add("z"));
}

TEST_F(OutboxTest, AMessageLargerThanTheBoundGoesAlone) {
    EXPECT_TRUE(add(std::string(10'000'000, 'x')));
    EXPECT_FALSE(add("y"));
}

TEST_F(OutboxTest, ClosingForgetsWhatIsLeftAndSaysHowMuch) {
    add("a");
    add("b");
    addTo(kCommand, "command");
    publishNext(1);
    EXPECT_EQ(m_outbox.close(), 3U);
    EXPECT_FALSE(add("c"));
    m_outbox.open();
    EXPECT_EQ(next(), nullptr);
    EXPECT_TRUE(add("d"));
}

TEST_F(OutboxTest, CountsWhatIsAcceptedPublishedAndAnswered) {
    for (const char* body : {"a", "b", "c", "d"})
        add(body);
    for (int mid = 1; mid <= 3; ++mid)
        publishNext(mid);
    EXPECT_EQ(counters().waiting, 4U);
    m_outbox.acknowledged(1);
    m_outbox.acknowledged(2, true);
    m_outbox.acknowledged(77, true);
    EXPECT_EQ(counters().accepted, 4U);
    EXPECT_EQ(counters().published, 3U);
    EXPECT_EQ(counters().acknowledged, 1U);
    EXPECT_EQ(counters().refused, 1U);
    EXPECT_EQ(counters().waiting, 2U);
    m_outbox.connectionLost();
    publishNext(4);
    EXPECT_EQ(counters().published, 4U);
    EXPECT_EQ(counters().waiting, 2U);
}

TEST_F(OutboxTest, CountsEachDropByItsCause) {
    addTo(kHeartbeat, "late");
    m_now += std::chrono::milliseconds(3001);
    add("too large");
    next();
    EXPECT_EQ(counters().droppedLate, 1U);
    m_outbox.dropNext();
    m_outbox.countUnusable();
    EXPECT_EQ(counters().droppedUnusable, 2U);
    addTo(kHeartbeat, "old");
    addTo(kHeartbeat, "old");
    m_outbox.forgetHeartbeats();
    EXPECT_EQ(counters().droppedAtReconnect, 2U);
    add("left");
    addTo(kCommand, "left");
    addTo(kHeartbeat, "left");
    m_outbox.close();
    EXPECT_EQ(counters().droppedAtStop, 3U);
    EXPECT_EQ(counters().accepted, 8U);
    EXPECT_EQ(counters().waiting, 0U);
}

TEST_F(OutboxTest, CountsWhatItDoesNotAccept) {
    for (std::size_t i = 0; i < kMostMessages + 2; ++i)
        add("x");
    EXPECT_EQ(counters().notAcceptedFull, 2U);
    EXPECT_EQ(counters().accepted, kMostMessages);
    m_outbox.close();
    EXPECT_FALSE(add("x"));
    EXPECT_EQ(counters().notAcceptedUnconnected, 1U);
    m_outbox.open();
    EXPECT_TRUE(add("x"));
    EXPECT_EQ(counters().accepted, kMostMessages + 1);
    EXPECT_EQ(counters().droppedAtStop, kMostMessages);
}

TEST_F(OutboxTest, TellsHowManyWaitAndForHowLong) {
    EXPECT_EQ(counters().oldestWaitingMs, 0);
    add("first");
    m_now += std::chrono::milliseconds(700);
    addTo(kHeartbeat, "second");
    addTo(kCommand, "third");
    add("fourth");
    m_now += std::chrono::milliseconds(300);
    EXPECT_EQ(counters().waiting, 4U);
    EXPECT_EQ(counters().waitingRecords, 2U);
    EXPECT_EQ(counters().oldestWaitingMs, 1000);
    for (int mid = 1; mid <= 3; ++mid)
        publishNext(mid);
    m_outbox.acknowledged(3);
    EXPECT_EQ(counters().waitingRecords, 1U);
    EXPECT_EQ(counters().oldestWaitingMs, 300);
}

TEST_F(OutboxTest, NothingOfBeforeIsLeftWhenItIsOpenedAgain) {
    ASSERT_TRUE(add(std::string(kMostBytes, 'x')));
    ASSERT_TRUE(addTo(kCommand, "command"));
    publishNext(1);
    publishNext(2);
    m_outbox.close();
    m_outbox.open();
    EXPECT_TRUE(m_outbox.empty());
    ASSERT_TRUE(add("a")) << "its bytes are counted still";
    EXPECT_EQ(publishNext(1, 1), "a") << "its messages are in flight still";
    EXPECT_TRUE(m_outbox.acknowledged(1).has_value());
    EXPECT_FALSE(m_outbox.acknowledged(2).has_value());
}

TEST_F(OutboxTest, MessagesInFlightEndWithTheConnection) {
    addTo(kCommand, "command");
    add("record");
    publishNext(1, 2);
    publishNext(2, 3);
    ASSERT_EQ(next(1), nullptr);
    m_outbox.connectionLost();
    EXPECT_EQ(publishNext(1, 1), "command");
    m_outbox.acknowledged(1);
    EXPECT_EQ(publishNext(2, 1), "record");
}

TEST_F(OutboxTest, ADroppedMessageFreesItsBytes) {
    add(std::string(kMostBytes, 'x'));
    ASSERT_FALSE(add("y"));
    ASSERT_NE(next(), nullptr);
    m_outbox.dropNext();
    EXPECT_TRUE(add("y"));
    EXPECT_EQ(publishNext(1), "y");
    EXPECT_EQ(publishNext(2), "none");
}

TEST_F(OutboxTest, AnExpiredHeartbeatFreesItsBytes) {
    addTo(kHeartbeat, std::string(kMostBytes, 'x'));
    ASSERT_FALSE(addTo(kHeartbeat, "new"));
    m_now += std::chrono::milliseconds(3001);
    EXPECT_EQ(next(), nullptr);
    EXPECT_TRUE(addTo(kHeartbeat, "new"));
}

TEST_F(OutboxTest, ManyThreadsAddWhileOnePublishes) {
    std::vector<std::thread> adders;
    for (int i = 0; i < 4; ++i) {
        adders.emplace_back([this] {
            for (int n = 0; n < 500; ++n)
                add(std::to_string(n));
        });
    }
    int published = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (published < 2000 && std::chrono::steady_clock::now() < end) {
        if (publishNext(1) == "none") continue;
        ASSERT_TRUE(m_outbox.acknowledged(1).has_value());
        ++published;
    }
    for (std::thread& adder : adders)
        adder.join();
    EXPECT_EQ(published, 2000);
    EXPECT_TRUE(m_outbox.empty());
}

}  // namespace
