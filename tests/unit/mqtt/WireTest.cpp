#include "mqtt/Wire.h"

#include <gtest/gtest.h>

using namespace QoPlayer::mqtt;

namespace {

bool IsDownTopic(const std::string& topic, int& cmd) {
    return CmdOfDownTopic("qolive/c/12345678", topic.c_str(), cmd);
}

TEST(Wire, TopicsNameClientConnectionAndCommand) {
    const std::string prefix = TopicPrefix("c", "12345678");
    EXPECT_EQ(UpTopic(prefix, 5), "qolive/c/12345678/up/5");
    EXPECT_EQ(DownTopic(prefix, 5), "qolive/c/12345678/down/5");
    EXPECT_EQ(PresenceTopic(prefix), "qolive/c/12345678/presence");
}

TEST(Wire, ADownTopicNamesItsCommand) {
    int cmd = 0;
    ASSERT_TRUE(IsDownTopic("qolive/c/12345678/down/42", cmd));
    EXPECT_EQ(cmd, 42);
    ASSERT_TRUE(IsDownTopic("qolive/c/12345678/down/-3", cmd));
    EXPECT_EQ(cmd, -3);
}

TEST(Wire, OtherTopicsAreNotDownTopics) {
    int cmd = 0;
    for (const char* topic :
         {"", "qolive", "qolive/c/12345678/down/", "qolive/c/12345678/down/x", "qolive/c/12345678/down/4x",
          "qolive/c/12345678/down/4/5", "qolive/c/12345678/down/99999999999999999999",
          "qolive/c/12345678/up/4", "qolive/d/12345678/down/4", "qolive/c/12345678/down/ 4",
          "qolive/c/12345678/down/+4"})
        EXPECT_FALSE(IsDownTopic(topic, cmd)) << topic;
}

TEST(Wire, AHeadTravelsWithoutItsFinalLineBreak) {
    EXPECT_EQ(HeadOnWire("{}\n", 3), "{}");
    EXPECT_EQ(HeadOnWire("{}", 2), "{}");
    EXPECT_EQ(HeadOnWire("\n", 1), "");
    EXPECT_EQ(HeadOnWire("", 0), "");
    EXPECT_EQ(HeadOnWire("{}\n\n", 4), "{}\n");
}

TEST(Wire, AHeadMustBeUtf8TextWithoutControlCharacters) {
    EXPECT_EQ(HeadProblem(""), "");
    EXPECT_EQ(HeadProblem("{\"a\":\"\xe4\xbd\xa0\xf0\x9f\x8e\xa5\"}"), "");
    for (const std::string& head :
         {std::string("\xff"), std::string("\xc3"), std::string("\xe4\xbd"), std::string("\xed\xa0\x80"),
          std::string("a\0b", 3), std::string("a\nb"), std::string("\xc2\x85"), std::string("\xc0\x80")})
        EXPECT_NE(HeadProblem(head), "") << head;
}

TEST(Wire, AHeadMayHave65535Bytes) {
    EXPECT_EQ(HeadProblem(std::string(65535, 'h')), "");
    EXPECT_NE(HeadProblem(std::string(65536, 'h')), "");
    EXPECT_NE(HeadProblem(std::string(10'000'000, 'h')), "");
}

// Counted by hand: fixed header 2, topic 2+1, identifier 2, properties 1 + 19 + 4, body 3.
TEST(Wire, ThePacketSizeIsThatOnTheWire) {
    EXPECT_EQ(UplinkPacketSize(1, 1, 3, 0), 34U);
    EXPECT_EQ(UplinkPacketSize(1, 1, 3, 2), 34U + 11U);
}

TEST(Wire, ThePacketSizeGrowsWithItsLengthField) {
    EXPECT_EQ(UplinkPacketSize(1, 1, 98, 0), 129U);  // 127 after the length
    EXPECT_EQ(UplinkPacketSize(1, 1, 99, 0), 131U);  // 128 after it
}

}  // namespace
