#include "mqtt/AccessToken.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

using QoPlayer::mqtt::AccessToken;

namespace {

TEST(AccessToken, ExpiresAtItsSecond) {
    AccessToken token;
    token.begin("t", 1000);
    EXPECT_FALSE(token.isExpired(999));
    EXPECT_TRUE(token.isExpired(1000));
    EXPECT_TRUE(token.isExpired(1001));
}

TEST(AccessToken, WithoutATimeItNeverExpiresNorDoesNoToken) {
    AccessToken token;
    EXPECT_FALSE(token.isExpired(1));
    token.begin("t", 0);
    EXPECT_FALSE(token.isExpired(std::numeric_limits<std::int64_t>::max()));
    token.begin("", 1);
    EXPECT_FALSE(token.isExpired(2));
}

TEST(AccessToken, ANewOneTakesThePlaceOfTheOldOneAndIsToldFromIt) {
    AccessToken token;
    token.begin("old", 1000);
    const AccessToken::Offer before = token.offer();
    EXPECT_TRUE(token.renew("new", 2000));
    EXPECT_EQ(before.text, "old");
    EXPECT_EQ(token.offer().text, "new");
    EXPECT_NE(token.offer().renewal, before.renewal);
    EXPECT_EQ(token.offer().renewal, token.renewals());
    EXPECT_FALSE(token.isExpired(1999));
    EXPECT_TRUE(token.isExpired(2000));
}

TEST(AccessToken, NoneIsTakenBeforeTheBeginningNorAfterTheEnd) {
    AccessToken token;
    EXPECT_FALSE(token.renew("new", 0));
    token.begin("old", 0);
    token.end();
    EXPECT_FALSE(token.renew("new", 0));
    EXPECT_EQ(token.offer().text, "");
    EXPECT_EQ(token.renewals(), 0U);
}

}  // namespace
