#include "collector/model/Topic.h"

#include <gtest/gtest.h>

namespace collector {
namespace {

TEST(Topic, AnUplinkNamesClientConnectionAndCommand) {
    const auto topic = ParseTopic("qolive/Studio_7-b/0123abcd/up/5");
    ASSERT_TRUE(topic);
    EXPECT_EQ(topic->source.client, "Studio_7-b");
    EXPECT_EQ(topic->source.connection, "0123abcd");
    EXPECT_EQ(topic->command, 5);
}

TEST(Topic, APresenceTopicHasNoCommand) {
    const auto topic = ParseTopic("qolive/demo/0123abcd/presence");
    ASSERT_TRUE(topic);
    EXPECT_FALSE(topic->command);
}

TEST(Topic, ThatIsNotABroadcastersIsRefused) {
    for (const char* text : {"",
                             "/",
                             "qolive",
                             "qolive/demo/0123abcd",
                             "qolive/demo/0123abcd/up",
                             "qolive/demo/0123abcd/up/",
                             "qolive/demo/0123abcd/up/x",
                             "qolive/demo/0123abcd/up/-1",
                             "qolive/demo/0123abcd/up/+1",
                             "qolive/demo/0123abcd/up/01",
                             "qolive/demo/0123abcd/up/2147483648",
                             "qolive/demo/0123abcd/up/2/more",
                             "qolive/demo/0123abcd/down/2",
                             "qolive/demo/0123abcd/presence/more",
                             "qolive//0123abcd/up/2",
                             "qolive/a.b/0123abcd/up/2",
                             "qolive/a b/0123abcd/up/2",
                             "qolive/\xff/0123abcd/up/2",
                             "qolive/demo/0123ABCD/up/2",
                             "qolive/demo/0123abc/up/2",
                             "qolive/demo/0123abcde/up/2",
                             "other/demo/0123abcd/up/2"})
        EXPECT_FALSE(ParseTopic(text)) << text;
}

TEST(Topic, AClientNameMayHave128Characters) {
    EXPECT_TRUE(ParseTopic("qolive/" + std::string(128, 'a') + "/0123abcd/presence"));
    EXPECT_FALSE(ParseTopic("qolive/" + std::string(129, 'a') + "/0123abcd/presence"));
}

TEST(Topic, AnswersGoToTheSendersOwnDownTopic) {
    EXPECT_EQ(DownTopic({"demo", "0123abcd"}, 2), "qolive/demo/0123abcd/down/2");
}

}  // namespace
}  // namespace collector
