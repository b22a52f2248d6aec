#include "host/pipeline/CaptureSchedule.h"

#include <gtest/gtest.h>

namespace host {

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

struct Counts {
    int video = 0;
    int audio = 0;
};

Counts FramesBefore(CaptureSchedule schedule, nanoseconds end) {
    Counts counts;
    for (auto slot = schedule.Next(); slot.at < end; slot = schedule.Next()) {
        ++(slot.kind == MediaKind::Video ? counts.video : counts.audio);
    }
    return counts;
}

TEST(CaptureSchedule, TenSecondsHoldTheSetNumberOfFrames) {
    for (const int fps : {1, 15, 24, 30, 60, 120}) {
        const Counts counts = FramesBefore(CaptureSchedule(fps), seconds(10));
        EXPECT_EQ(counts.video, fps * 10) << fps;
        EXPECT_EQ(counts.audio, 48000 * 10 / 1024) << fps;
    }
}

TEST(CaptureSchedule, TimesNeverGoBackAndIndexesHaveNoGap) {
    CaptureSchedule schedule(7);
    nanoseconds last(0);
    std::int64_t next[2] = {};
    for (int i = 0; i < 10000; ++i) {
        const CaptureSchedule::Slot slot = schedule.Next();
        EXPECT_GE(slot.at, last);
        EXPECT_EQ(slot.index, next[slot.kind == MediaKind::Video ? 0 : 1]++);
        last = slot.at;
    }
}

TEST(CaptureSchedule, ThirdsOfASecondDoNotAddUpToAnError) {
    EXPECT_EQ(CaptureSchedule::PictureTime(30LL * 86400 * 365, 30), seconds(86400LL * 365));
}

}  // namespace

}  // namespace host
