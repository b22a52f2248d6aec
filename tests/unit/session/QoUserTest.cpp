#include "session/QoUser.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(QoUser, AFreshUserHasEmptyTextsAndRoomTypeZero) {
    EXPECT_EQ(QoUser::GetInstance()->GetBreloId(), "");
    EXPECT_EQ(QoUser::GetInstance()->GetLoginToken(), "");
    EXPECT_EQ(QoUser::GetInstance()->GetTagRoomType(), 0);
}

TEST(QoUser, EachFactIsStoredByItself) {
    QoUser& user = *QoUser::GetInstance();
    user.SetBreloId("u1");
    user.SetLoginToken("secret");
    user.SetTagRoomType(-7);
    EXPECT_EQ(user.GetBreloId(), "u1");
    EXPECT_EQ(user.GetLoginToken(), "secret");
    EXPECT_EQ(user.GetTagRoomType(), -7);
    EXPECT_EQ(QoUser::GetInstance(), &user);
}

TEST(QoUser, TextsAreKeptByteForByte) {
    const std::string bytes("a\0\xff z", 5);
    QoUser user;
    user.SetBreloId(bytes);
    user.SetLoginToken(bytes);
    EXPECT_EQ(user.GetBreloId(), bytes);
    EXPECT_EQ(user.GetLoginToken(), bytes);
}

TEST(QoUser, ACopyIsIndependent) {
    QoUser original;
    original.SetBreloId("first");
    QoUser copy(original);
    original.SetBreloId("second");
    EXPECT_EQ(copy.GetBreloId(), "first");
    copy = original;
    EXPECT_EQ(copy.GetBreloId(), "second");
}

}  // namespace
