#include "mqtt/SdkLog.h"

#include <gtest/gtest.h>

using QoPlayer::mqtt::Shortened;

namespace {

TEST(SdkLog, ATextOf200BytesIsShownWhole) {
    EXPECT_EQ(Shortened(""), "");
    EXPECT_EQ(Shortened(std::string(200, 'x')), std::string(200, 'x'));
}

TEST(SdkLog, OfALongerOneTheFirst200AreShown) {
    EXPECT_EQ(Shortened(std::string(200, 'x') + "y"), std::string(200, 'x') + "...");
}

}  // namespace
