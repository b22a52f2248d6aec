#include "host/Broadcast.h"

#include <gtest/gtest.h>

#include "common/CommandLine.h"
#include "host/Options.h"
#include "host/RetryPause.h"

namespace host {
namespace {

std::vector<std::string> UrlsOf(const std::string& url, int streams) {
    BroadcastOptions options;
    options.settings.publishUrl = url;
    options.streams = streams;
    std::vector<std::string> urls;
    for (const PlannedStream& planned : PlanStreams(options))
        urls.push_back(planned.settings.publishUrl);
    return urls;
}

using Urls = std::vector<std::string>;

TEST(Broadcast, WithoutAnAddressThereAreNoStreams) {
    EXPECT_TRUE(UrlsOf("", 3).empty());
}

TEST(Broadcast, StreamsAreNamedAfterTheirPart) {
    BroadcastOptions options;
    options.settings.publishUrl = "udp://127.0.0.1:5004";
    options.streams = 4;
    std::vector<std::string> ids;
    for (const PlannedStream& planned : PlanStreams(options))
        ids.push_back(planned.id);
    EXPECT_EQ(ids, (std::vector<std::string>{"anchor", "co-host", "mix", "stream-4"}));
}

TEST(Broadcast, OverUdpEachStreamHasAPortOfItsOwn) {
    EXPECT_EQ(UrlsOf("udp://127.0.0.1:5004?ttl=5004", 3),
              (Urls{"udp://127.0.0.1:5004?ttl=5004", "udp://127.0.0.1:5006?ttl=5004",
                    "udp://127.0.0.1:5008?ttl=5004"}));
    EXPECT_EQ(UrlsOf("udp://[fe80::1:80]:80", 2), (Urls{"udp://[fe80::1:80]:80", "udp://[fe80::1:80]:82"}));
}

TEST(Broadcast, OverRtmpEachStreamHasAKeyOfItsOwn) {
    EXPECT_EQ(UrlsOf("rtmp://host/live/key", 2),
              (Urls{"rtmp://host/live/key", "rtmp://host/live/key-co-host"}));
    EXPECT_EQ(UrlsOf("rtmp://host/live/key?a=b", 3).back(), "rtmp://host/live/key-mix?a=b");
}

TEST(Broadcast, AnAddressThatCannotBeMetForAllIsRefused) {
    EXPECT_THROW(UrlsOf("nowhere", 1), apps::UsageError);
    EXPECT_THROW(UrlsOf("udp://127.0.0.1:65534", 2), apps::UsageError);
    EXPECT_THROW(UrlsOf("udp://127.0.0.1:05004", 2), apps::UsageError);
}

TEST(Broadcast, SettingsThatCannotBeMetAreRefused) {
    BroadcastOptions options = ParseOptions({"--size", "641x360"}).broadcast;
    EXPECT_THROW(PlanStreams(options), apps::UsageError);
}

TEST(Broadcast, AFileOfFiguresThatCannotBeWrittenIsRefused) {
    BroadcastOptions options;
    options.figuresFile = "/nonexistent/figures";
    EXPECT_THROW(Broadcast unwritable(options), apps::UsageError);
}

TEST(Broadcast, AnInputFileThatCannotBeReadIsRefused) {
    BroadcastOptions options;
    options.settings.publishUrl = "udp://127.0.0.1:5004";
    options.settings.inputFile = "/nonexistent/input.mp4";
    EXPECT_THROW(Broadcast unreadable(options), apps::UsageError);
}

TEST(RetryPause, GrowsUpToHalfAMinute) {
    RetryPause pause;
    for (const int seconds : {1, 2, 4, 8, 16, 30, 30})
        EXPECT_EQ(pause.Next(RetryPause::Time(0)).count(), 1000 * seconds);
}

TEST(RetryPause, BeginsAgainAfterAStreamThatHeld) {
    RetryPause pause;
    pause.Next(RetryPause::Time(0));
    EXPECT_EQ(pause.Next(RetryPause::kHeldLongEnough - RetryPause::Time(1)).count(), 2000);
    EXPECT_EQ(pause.Next(RetryPause::kHeldLongEnough).count(), 1000);
    EXPECT_EQ(pause.Next(RetryPause::Time(0)).count(), 2000);
}

TEST(Options, TheStreamIsDescribed) {
    const BroadcastOptions options =
        ParseOptions({"--publish", "udp://h:1", "--input", "a.mp4", "--streams", "3", "--size", "320x180",
                      "--fps", "25", "--video-kbps", "500", "--audio-kbps", "96", "--load", "150",
                      "--figures", "f"})
            .broadcast;
    EXPECT_EQ(options.settings.publishUrl, "udp://h:1");
    EXPECT_EQ(options.settings.inputFile, "a.mp4");
    EXPECT_EQ(options.streams, 3);
    EXPECT_EQ(options.settings.width, 320);
    EXPECT_EQ(options.settings.height, 180);
    EXPECT_EQ(options.settings.fps, 25);
    EXPECT_EQ(options.settings.videoKbps, 500);
    EXPECT_EQ(options.settings.audioKbps, 96);
    EXPECT_EQ(options.settings.loadPercent, 150);
    EXPECT_EQ(options.figuresFile, "f");
}

TEST(Options, StreamsThatCannotBeAreRefused) {
    for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{{"--streams", "0"},
                                                                                       {"--streams", "17"},
                                                                                       {"--size", "640"},
                                                                                       {"--size", "x360"},
                                                                                       {"--size", "640x"},
                                                                                       {"--fps", "0"},
                                                                                       {"--load", "-1"}})
        EXPECT_THROW(ParseOptions(wrong), apps::UsageError) << wrong[0] << " " << wrong[1];
}

}  // namespace
}  // namespace host
