#include "host/pipeline/SyntheticPipeline.h"

#include <gtest/gtest.h>

#include "RecordingFeed.h"
#include "support/Eventually.h"

namespace host {

namespace {

using Steps = std::vector<std::string>;

StreamSettings Settings() {
    StreamSettings settings;
    settings.publishUrl = "udp://127.0.0.1:5004";
    return settings;
}

TEST(SyntheticPipeline, SaysThatItEncodesNothing) {
    RecordingFeed feed;
    EXPECT_STREQ(SyntheticPipeline(Settings(), feed).Name(), "synthetic pipeline (no encoder)");
}

TEST(SyntheticPipeline, KeepsTheSetRates) {
    RecordingFeed feed;
    SyntheticPipeline pipeline(Settings(), feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitForPictures(60));
    pipeline.Stop();
    const FeedRecord record = feed.Read();
    const double seconds = record.video.encoded / 30.0;
    // Each lost frame takes the rounding of its size with it.
    EXPECT_NEAR(static_cast<double>(record.video.bytesEncoded), seconds * 100000, 2 + record.video.lost);
    EXPECT_NEAR(static_cast<double>(record.audio.bytesEncoded) / record.audio.encoded, 8000 * 1024 / 48000.0,
                1);
    EXPECT_NEAR(record.audio.captured, record.video.captured * 48000 / 1024.0 / 30, 2);
    EXPECT_EQ(record.video.bytesSent, record.video.bytesEncoded);
    EXPECT_EQ(pipeline.Figures().videoBytes, record.video.bytesEncoded);
    EXPECT_EQ(pipeline.Figures().videoFrames, record.video.encoded);
    EXPECT_EQ(pipeline.Figures().audioBytes, record.audio.bytesEncoded);
    EXPECT_EQ(pipeline.Figures().audioFrames, record.audio.encoded);
}

TEST(SyntheticPipeline, RunsInRealTime) {
    RecordingFeed feed;
    SyntheticPipeline pipeline(Settings(), feed);
    const auto time = support::TimeOf([&] {
        pipeline.Start();
        ASSERT_TRUE(feed.WaitForPictures(31));
    });
    EXPECT_GE(time.count(), 1000);
}

TEST(SyntheticPipeline, TellsItsStepsInOrder) {
    RecordingFeed feed;
    SyntheticPipeline pipeline(Settings(), feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitForPictures(1));
    pipeline.Stop();
    const FeedRecord record = feed.Read();
    EXPECT_EQ(record.steps, (Steps{"requested", "answered", "first packet", "ended"}));
    EXPECT_EQ(record.code, EndCode::Stopped);
    EXPECT_EQ(record.reason, "");
    EXPECT_LE(record.requestedMs, record.answeredMs);
    EXPECT_LE(record.answeredMs, record.firstSentMs);
    EXPECT_EQ(record.facts.encoderClass, EncoderClass::None);
    EXPECT_EQ(record.facts.transport, Transport::None);
    EXPECT_EQ(record.facts.videoEncoder, "none");
    EXPECT_EQ(record.facts.width, 640);
}

TEST(SyntheticPipeline, ALoadAboveWhatThereIsLosesFrames) {
    StreamSettings settings = Settings();
    settings.loadPercent = 300;
    RecordingFeed feed;
    SyntheticPipeline pipeline(settings, feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitForPictures(15));
    pipeline.Stop();
    const FeedRecord record = feed.Read();
    EXPECT_GE(record.video.lost, 10);
    EXPECT_EQ(record.audio.lost, 0);
    EXPECT_LE(record.video.lost + record.video.encoded, record.video.captured);
    EXPECT_NEAR(record.video.lost + record.video.encoded, record.video.captured, 30 / 4 + 1);
}

TEST(SyntheticPipeline, StopsAtOnceUnderTheHeaviestLoad) {
    StreamSettings settings = Settings();
    settings.fps = 1;
    settings.loadPercent = 10000;
    RecordingFeed feed;
    SyntheticPipeline pipeline(settings, feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitFor([](const FeedRecord& record) { return record.video.captured > 0; }));
    EXPECT_LT(support::TimeOf([&pipeline] { pipeline.Stop(); }).count(), 1000);
}

TEST(SyntheticPipeline, BadSettingsEndItWithAReason) {
    StreamSettings settings = Settings();
    settings.fps = 0;
    RecordingFeed feed;
    SyntheticPipeline pipeline(settings, feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitForEnd());
    EXPECT_EQ(feed.Read().steps, Steps{"ended"});
    EXPECT_EQ(feed.Read().code, EndCode::BadSettings);
    EXPECT_EQ(feed.Read().reason, "frame rate 0 is not within 1 to 120");
}

TEST(SyntheticPipeline, AnAddressThatCannotBeReadEndsItWithAReason) {
    StreamSettings settings = Settings();
    settings.publishUrl = "nowhere";
    RecordingFeed feed;
    SyntheticPipeline pipeline(settings, feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitForEnd());
    EXPECT_EQ(feed.Read().code, EndCode::BadSettings);
    EXPECT_NE(feed.Read().reason.find("\"nowhere\""), std::string::npos);
}

TEST(SyntheticPipeline, IsNotTouchedByAStopWithoutAStartOrASecondStop) {
    RecordingFeed feed;
    SyntheticPipeline never(Settings(), feed);
    never.Stop();
    EXPECT_TRUE(feed.Read().steps.empty());
    SyntheticPipeline once(Settings(), feed);
    once.Start();
    once.Stop();
    once.Stop();
    EXPECT_EQ(feed.Read().steps.back(), "ended");
}

TEST(SyntheticPipeline, NothingIsToldAfterAStop) {
    RecordingFeed feed;
    auto pipeline = std::make_unique<SyntheticPipeline>(Settings(), feed);
    pipeline->Start();
    ASSERT_TRUE(feed.WaitForPictures(2));
    pipeline->Stop();
    const FeedRecord atStop = feed.Read();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    pipeline.reset();
    EXPECT_EQ(feed.Read().video.captured, atStop.video.captured);
    EXPECT_EQ(feed.Read().steps, atStop.steps);
}

TEST(SyntheticPipeline, BeingDestroyedStopsIt) {
    RecordingFeed feed;
    {
        SyntheticPipeline pipeline(Settings(), feed);
        pipeline.Start();
    }
    EXPECT_EQ(feed.Read().steps.back(), "ended");
}

}  // namespace

}  // namespace host
