#include "collector/model/Backoff.h"

#include <gtest/gtest.h>

namespace collector {
namespace {

TEST(Backoff, ThePauseDoublesUpToHalfAMinute) {
    Backoff backoff;
    for (const Millis pause : {500, 1000, 2000, 4000, 8000, 16000, 30000, 30000})
        EXPECT_EQ(backoff.Next(0), pause);
}

TEST(Backoff, OnlyAConnectionThatHeldForHalfAMinuteBeginsAnew) {
    Backoff backoff;
    backoff.Next(0);
    EXPECT_EQ(backoff.Next(29999), 1000);
    EXPECT_EQ(backoff.Next(30000), 500);
    EXPECT_EQ(backoff.Next(0), 1000);
}

}  // namespace
}  // namespace collector
