#include "platform/mqtt/Outbox.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using QoPlayer::mqtt::Message;
using QoPlayer::mqtt::Outbox;

namespace {

class OutboxTest : public testing::Test {
protected:
    void SetUp() override { outbox.open(); }

    bool add(const std::string& body, const std::string& head = "") { return outbox.add({2, body, head}); }

    std::string publishNext(int mid) {
        const Message* const message = outbox.nextToPublish(64);
        if (!message) return "none";
        const std::string body = message->body;
        outbox.published(mid);
        return body;
    }

    Outbox outbox;
};

TEST_F(OutboxTest, AcceptsNothingUntilItIsOpened) {
    Outbox closed;
    EXPECT_FALSE(closed.add({2, "a", ""}));
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
    EXPECT_TRUE(outbox.acknowledged(2));
    EXPECT_TRUE(outbox.acknowledged(3));
    EXPECT_FALSE(outbox.empty());
    EXPECT_TRUE(outbox.acknowledged(1));
    EXPECT_TRUE(outbox.empty());
}

TEST_F(OutboxTest, AnAcknowledgementOfNothingInFlightIsIgnored) {
    add("a");
    EXPECT_FALSE(outbox.acknowledged(0));
    EXPECT_FALSE(outbox.acknowledged(9));
    publishNext(1);
    EXPECT_TRUE(outbox.acknowledged(1));
    EXPECT_FALSE(outbox.acknowledged(1));
}

TEST_F(OutboxTest, AfterALostConnectionTheUnacknowledgedComeAgainInOrder) {
    for (const char* body : {"a", "b", "c"})
        add(body);
    publishNext(1);
    publishNext(2);
    outbox.acknowledged(1);
    outbox.connectionLost();
    EXPECT_FALSE(outbox.acknowledged(2));
    EXPECT_EQ(publishNext(1), "b");
    EXPECT_EQ(publishNext(2), "c");
}

TEST_F(OutboxTest, NoMoreThanTheMostInFlightAreGiven) {
    add("a");
    add("b");
    EXPECT_EQ(outbox.nextToPublish(0), nullptr);
    ASSERT_NE(outbox.nextToPublish(1), nullptr);
    outbox.published(1);
    EXPECT_EQ(outbox.nextToPublish(1), nullptr);
    EXPECT_NE(outbox.nextToPublish(2), nullptr);
}

TEST_F(OutboxTest, BytesInFlightAreBoundedButOneMessageAlwaysGoes) {
    add(std::string(Outbox::kMostBytesInFlight + 1, 'x'));
    add("b");
    ASSERT_NE(outbox.nextToPublish(64), nullptr);
    outbox.published(1);
    EXPECT_EQ(outbox.nextToPublish(64), nullptr);
    outbox.acknowledged(1);
    EXPECT_NE(outbox.nextToPublish(64), nullptr);
}

TEST_F(OutboxTest, ADroppedMessageLetsTheNextThrough) {
    add("bad");
    add("good");
    ASSERT_NE(outbox.nextToPublish(64), nullptr);
    outbox.dropNext();
    EXPECT_EQ(publishNext(1), "good");
}

TEST_F(OutboxTest, Takes4096MessagesAndNotOneMore) {
    for (std::size_t i = 0; i < 4096; ++i)
        ASSERT_TRUE(add("x"));
    EXPECT_FALSE(add("x"));
    publishNext(1);
    EXPECT_FALSE(add("x"));
    outbox.acknowledged(1);
    EXPECT_TRUE(add("x"));
    EXPECT_FALSE(add("x"));
}

TEST_F(OutboxTest, TakesNoMoreOnce4MiBAreUnacknowledged) {
    const std::size_t most = 4 * 1024 * 1024;
    ASSERT_TRUE(add(std::string(most - 3, 'x'), "hh"));
    ASSERT_TRUE(add("y"));
    EXPECT_FALSE(add(""));
    publishNext(1);
    outbox.acknowledged(1);
    EXPECT_TRUE(add("z"));
}

TEST_F(OutboxTest, AMessageLargerThanTheBoundGoesAlone) {
    EXPECT_TRUE(add(std::string(10'000'000, 'x')));
    EXPECT_FALSE(add("y"));
}

TEST_F(OutboxTest, ClosingForgetsWhatIsLeftAndSaysHowMuch) {
    add("a");
    add("b");
    publishNext(1);
    EXPECT_EQ(outbox.close(), 2U);
    EXPECT_FALSE(add("c"));
    outbox.open();
    EXPECT_EQ(outbox.nextToPublish(64), nullptr);
    EXPECT_TRUE(add("d"));
}

TEST_F(OutboxTest, ManyThreadsAddWhileOnePublishes) {
    std::vector<std::thread> adders;
    for (int i = 0; i < 4; ++i) {
        adders.emplace_back([this] {
            for (int n = 0; n < 500; ++n)
                outbox.add({2, std::to_string(n), ""});
        });
    }
    int published = 0;
    while (published < 2000) {
        if (publishNext(1) == "none") continue;
        ASSERT_TRUE(outbox.acknowledged(1));
        ++published;
    }
    for (std::thread& adder : adders)
        adder.join();
    EXPECT_TRUE(outbox.empty());
}

}  // namespace
