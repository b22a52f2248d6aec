#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "mqtt/SocketWaiter.h"

using QoPlayer::mqtt::IsSocketClosed;
using QoPlayer::mqtt::ShutDownSocket;

namespace {

class IsSocketClosedTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, m_ends), 0); }
    void TearDown() override {
        close(ours());
        close(theirs());
    }

    int ours() const { return m_ends[0]; }
    int theirs() const { return m_ends[1]; }

private:
    int m_ends[2] = {-1, -1};
};

TEST_F(IsSocketClosedTest, DoesNotWaitWhereNothingHasCome) {
    EXPECT_FALSE(IsSocketClosed(ours()));
}

TEST_F(IsSocketClosedTest, LeavesWhatHasCome) {
    ASSERT_EQ(send(theirs(), "ab", 2, 0), 2);
    EXPECT_FALSE(IsSocketClosed(ours()));
    char bytes[3] = {};
    EXPECT_EQ(recv(ours(), bytes, 2, MSG_DONTWAIT), 2);
    EXPECT_STREQ(bytes, "ab");
}

TEST_F(IsSocketClosedTest, IsTrueOnceAllIsReadOfWhatTheOtherSideSentBeforeItsEnd) {
    ASSERT_EQ(send(theirs(), "a", 1, 0), 1);
    ShutDownSocket(theirs());
    EXPECT_FALSE(IsSocketClosed(ours()));
    char byte = 0;
    ASSERT_EQ(recv(ours(), &byte, 1, MSG_DONTWAIT), 1);
    EXPECT_TRUE(IsSocketClosed(ours()));
}

}  // namespace
