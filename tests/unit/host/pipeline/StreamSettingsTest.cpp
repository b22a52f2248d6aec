#include "host/pipeline/StreamSettings.h"

#include <gtest/gtest.h>

#include <limits>

namespace host {

namespace {

void ExpectBounds(int StreamSettings::*member, int lowest, int highest, const std::string& named) {
    StreamSettings settings;
    for (const int good : {lowest, highest}) {
        settings.*member = good;
        EXPECT_EQ(WhyUnusable(settings), "") << named << " " << good;
    }
    for (const int bad :
         {lowest - 1, highest + 1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        settings.*member = bad;
        EXPECT_EQ(WhyUnusable(settings).rfind(named, 0), 0U) << bad << ": " << WhyUnusable(settings);
    }
}

TEST(StreamSettings, TheDefaultsCanBeMet) {
    EXPECT_EQ(WhyUnusable(StreamSettings()), "");
}

TEST(StreamSettings, EachNumberHasItsBounds) {
    ExpectBounds(&StreamSettings::width, 16, 3840, "width");
    ExpectBounds(&StreamSettings::height, 16, 2160, "height");
    ExpectBounds(&StreamSettings::fps, 1, 120, "frame rate");
    ExpectBounds(&StreamSettings::videoKbps, 16, 100000, "video bitrate");
    ExpectBounds(&StreamSettings::audioKbps, 16, 320, "audio bitrate");
    ExpectBounds(&StreamSettings::loadPercent, 0, 10000, "load");
}

TEST(StreamSettings, PicturesHaveEvenSides) {
    StreamSettings settings;
    settings.width = 641;
    EXPECT_EQ(WhyUnusable(settings), "width 641 is not even");
    settings.width = 640;
    settings.height = 361;
    EXPECT_EQ(WhyUnusable(settings), "height 361 is not even");
}

}  // namespace

}  // namespace host
