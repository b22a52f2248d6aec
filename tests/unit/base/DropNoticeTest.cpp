#include "base/DropNotice.h"

#include <gtest/gtest.h>

namespace {

TEST(DropNotice, NothingDroppedIsNothingToTell) {
    qolive::DropNotice notice;
    EXPECT_EQ(notice.take(5000), 0U);
    EXPECT_EQ(notice.takeAll(), 0U);
}

TEST(DropNotice, TheFirstDropIsToldAtOnceAndTheNextOnesAfterASecond) {
    qolive::DropNotice notice;
    notice.add();
    EXPECT_EQ(notice.take(5000), 1U);
    for (int i = 0; i < 39; ++i)
        notice.add();
    EXPECT_EQ(notice.take(5000), 0U);
    EXPECT_EQ(notice.take(5999), 0U);
    EXPECT_EQ(notice.take(6000), 39U);
    EXPECT_EQ(notice.take(7000), 0U);
    notice.add();
    EXPECT_EQ(notice.take(7000), 1U);
}

TEST(DropNotice, ATurnWithoutDropsDelaysNothing) {
    qolive::DropNotice notice;
    EXPECT_EQ(notice.take(5000), 0U);
    notice.add();
    EXPECT_EQ(notice.take(5001), 1U);
}

TEST(DropNotice, WhatIsLeftCanBeToldAtOnce) {
    qolive::DropNotice notice;
    notice.add();
    EXPECT_EQ(notice.take(5000), 1U);
    notice.add();
    EXPECT_EQ(notice.takeAll(), 1U);
    EXPECT_EQ(notice.takeAll(), 0U);
}

}  // namespace
