#include "host/pipeline/FfmpegPipeline.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "Decoded.h"
#include "RecordingFeed.h"
#include "StreamReceiver.h"
#include "common/Clock.h"
#include "host/pipeline/ffmpeg/Encoder.h"
#include "support/Eventually.h"
#include "support/Loopback.h"

namespace host {

namespace {

using Steps = std::vector<std::string>;
using std::chrono::milliseconds;

StreamSettings SmallStream(const std::string& url) {
    StreamSettings settings;
    settings.width = 160;
    settings.height = 120;
    settings.fps = 15;
    settings.videoKbps = 200;
    settings.publishUrl = url;
    return settings;
}

std::string RtmpUrl(int port) {
    return "rtmp://127.0.0.1:" + std::to_string(port) + "/live/key";
}

/// A TCP port on loopback that takes clients and says nothing.
class SilentServer {
public:
    SilentServer() : m_listener(support::ListenOnLoopback(m_port)) {}
    ~SilentServer() { close(m_listener); }
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;

    int Port() const { return m_port; }

private:
    int m_port = 0;
    int m_listener;
};

/// A file that is gone with the test.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::vector<std::uint8_t>& content) {
        char name[] = "/tmp/qolive-pipeline-XXXXXX";
        close(mkstemp(name));
        m_path = name;
        std::ofstream file(m_path, std::ios::binary);
        file.write(reinterpret_cast<const char*>(content.data()),
                   static_cast<std::streamsize>(content.size()));
    }
    ~TemporaryFile() { std::filesystem::remove(m_path); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

FeedRecord Publish(const StreamSettings& settings, int pictures) {
    RecordingFeed feed;
    FfmpegPipeline pipeline(settings, feed);
    pipeline.Start();
    EXPECT_TRUE(feed.WaitForPictures(pictures)) << feed.Read().reason;
    pipeline.Stop();
    return feed.Read();
}

FeedRecord RunToItsEnd(const StreamSettings& settings) {
    RecordingFeed feed;
    FfmpegPipeline pipeline(settings, feed);
    pipeline.Start();
    EXPECT_TRUE(feed.WaitForEnd());
    return feed.Read();
}

std::vector<std::uint8_t> RecordStream(int pictures) {
    StreamReceiver receiver;
    Publish(SmallStream(receiver.Url()), pictures);
    receiver.Finish();
    return receiver.Bytes();
}

void ExpectSameAs(const sink::TsTally& received, const FeedTally& reported) {
    EXPECT_EQ(received.frames, reported.sent);
    EXPECT_EQ(received.bytes, reported.bytesSent);
}

TEST(FfmpegPipeline, WhatItReportsAsSentIsWhatArrives) {
    StreamReceiver receiver;
    const FeedRecord record = Publish(SmallStream(receiver.Url()), 30);
    const sink::TsTotals totals = receiver.Finish();
    EXPECT_EQ(totals.video.codec, "H.264");
    EXPECT_EQ(totals.audio.codec, "AAC");
    ExpectSameAs(totals.video, record.video);
    ExpectSameAs(totals.audio, record.audio);
    EXPECT_EQ(totals.lostPackets, 0);
    EXPECT_EQ(totals.faultyPackets, 0);
}

TEST(FfmpegPipeline, WhatArrivesDecodesToPicturesAndSound) {
    StreamReceiver receiver;
    const FeedRecord record = Publish(SmallStream(receiver.Url()), 30);
    receiver.Finish();
    const TemporaryFile file(receiver.Bytes());
    const Decoded decoded = DecodeFile(file.Path());
    EXPECT_EQ(decoded.videoCodec, "h264");
    EXPECT_EQ(decoded.audioCodec, "aac");
    EXPECT_EQ(decoded.width, 160);
    EXPECT_EQ(decoded.height, 120);
    EXPECT_EQ(decoded.sampleRate, 48000);
    EXPECT_EQ(decoded.pictures, record.video.sent);
    EXPECT_EQ(decoded.samples, record.audio.sent * 1024);
    EXPECT_EQ(decoded.faults, 0);
    EXPECT_GT(decoded.brightness, 50);
    EXPECT_NEAR(decoded.loudness, 0.25 / std::sqrt(2), 0.03) << "a tone of a quarter of full scale";
}

// The encoder's own closing line ("kb/s:...") is the judge.
std::string g_encoderLine;

__attribute__((format(printf, 3, 0))) void KeepEncoderLine(void*, int, const char* format,
                                                           va_list arguments) {
    char line[256] = {};
    std::vsnprintf(line, sizeof line, format, arguments);
    if (std::string(line).find("kb/s:") != std::string::npos) g_encoderLine = line;
}

TEST(FfmpegPipeline, TheReportedBitrateIsTheEncodersOwn) {
    if (avcodec_find_encoder_by_name("libx264") == nullptr) GTEST_SKIP() << "this FFmpeg has no libx264";
    StreamReceiver receiver;
    RecordingFeed feed;
    {
        FfmpegPipeline pipeline(SmallStream(receiver.Url()), feed, {"libx264"});
        av_log_set_callback(&KeepEncoderLine);
        pipeline.Start();
        ASSERT_TRUE(feed.WaitForPictures(30));
    }
    av_log_set_callback(&av_log_default_callback);
    const FeedTally video = feed.Read().video;
    ASSERT_NE(g_encoderLine, "");
    const double own = std::stod(g_encoderLine.substr(g_encoderLine.find("kb/s:") + 5));
    const auto kbpsOver = [&](int pictures) {
        return static_cast<double>(video.bytesEncoded) / 125 * 15 / pictures;
    };
    // The encoder counts the time of a lost picture only if a later one shows that it passed.
    EXPECT_GE(own, kbpsOver(video.encoded + video.lost) * 0.98) << g_encoderLine;
    EXPECT_LE(own, kbpsOver(video.encoded) * 1.02) << g_encoderLine;
}

TEST(FfmpegPipeline, FramesComeAtTheSetRate) {
    StreamReceiver receiver;
    RecordingFeed feed;
    FfmpegPipeline pipeline(SmallStream(receiver.Url()), feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitForPictures(1));
    const FeedRecord before = feed.Read();
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(milliseconds(3000));
    const FeedRecord after = feed.Read();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_NEAR((after.video.captured - before.video.captured) / seconds, 15, 1);
    EXPECT_NEAR((after.video.sent + after.video.lost - before.video.sent) / seconds, 15, 1.5);
    EXPECT_NEAR((after.audio.captured - before.audio.captured) / seconds, 48000 / 1024.0, 2);
}

TEST(FfmpegPipeline, TheEncodersFiguresAgreeWithTheFeed) {
    StreamReceiver receiver;
    RecordingFeed feed;
    FfmpegPipeline pipeline(SmallStream(receiver.Url()), feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitForPictures(15));
    pipeline.Stop();
    const FeedRecord record = feed.Read();
    const EncoderFigures figures = pipeline.Figures();
    EXPECT_EQ(figures.videoFrames, record.video.encoded);
    EXPECT_EQ(figures.videoBytes, record.video.bytesEncoded);
    EXPECT_EQ(figures.audioFrames, record.audio.encoded);
    EXPECT_EQ(figures.audioBytes, record.audio.bytesEncoded);
}

TEST(FfmpegPipeline, TellsItsStepsAndFacts) {
    StreamReceiver receiver;
    const FeedRecord record = Publish(SmallStream(receiver.Url()), 2);
    EXPECT_EQ(record.steps, (Steps{"requested", "answered", "first packet", "ended"}));
    EXPECT_EQ(record.code, EndCode::Stopped);
    EXPECT_EQ(record.reason, "");
    EXPECT_LE(record.requestedMs, record.answeredMs);
    EXPECT_LE(record.answeredMs, record.firstSentMs);
    EXPECT_LE(record.firstSentMs, record.endedMs);
    EXPECT_NEAR(static_cast<double>(record.endedMs), static_cast<double>(apps::WallMs()), 60000);
    EXPECT_EQ(record.facts.transport, Transport::MpegTsOverUdp);
    EXPECT_EQ(record.facts.encoderClass, EncoderClass::Software);
    EXPECT_EQ(record.facts.audioEncoder, "aac");
    EXPECT_EQ(record.requestedUrl, receiver.Url());
    EXPECT_EQ(record.facts.url, receiver.Url());
    EXPECT_EQ(record.facts.serverAddress, "127.0.0.1");
    EXPECT_EQ(record.facts.width, 160);
    EXPECT_EQ(record.facts.fps, 15);
    EXPECT_EQ(record.facts.videoKbps, 200);
}

TEST(FfmpegPipeline, AHostNameIsReportedByItsNumber) {
    StreamReceiver receiver;
    StreamSettings settings = SmallStream(receiver.Url());
    settings.publishUrl.replace(settings.publishUrl.find("127.0.0.1"), 9, "localhost");
    RecordingFeed feed;
    FfmpegPipeline pipeline(settings, feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitFor([](const FeedRecord& record) { return record.answeredMs != 0; }));
    pipeline.Stop();
    const std::string address = feed.Read().facts.serverAddress;
    EXPECT_TRUE(address == "127.0.0.1" || address == "::1") << address;
}

TEST(FfmpegPipeline, ALoadAboveWhatThereIsLosesPicturesAndNoSound) {
    StreamReceiver receiver;
    StreamSettings settings = SmallStream(receiver.Url());
    settings.loadPercent = 400;
    const FeedRecord record = Publish(settings, 8);
    EXPECT_GE(record.video.lost, 8);
    EXPECT_EQ(record.audio.lost, 0);
    EXPECT_NEAR(record.video.lost + record.video.encoded, record.video.captured, 6)
        << "the rest was still queued";
    const sink::TsTotals totals = receiver.Finish();
    ExpectSameAs(totals.video, record.video);
    ExpectSameAs(totals.audio, record.audio);
}

TEST(FfmpegPipeline, SeveralRunSideBySide) {
    StreamReceiver receivers[3];
    RecordingFeed feeds[3];
    std::vector<std::unique_ptr<FfmpegPipeline>> pipelines;
    for (int i = 0; i < 3; ++i) {
        StreamSettings settings = SmallStream(receivers[i].Url());
        settings.width = 64 + 32 * i;
        pipelines.push_back(std::make_unique<FfmpegPipeline>(settings, feeds[i]));
        pipelines.back()->Start();
    }
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(feeds[i].WaitForPictures(20));
    }
    pipelines.clear();
    for (int i = 0; i < 3; ++i) {
        const sink::TsTotals totals = receivers[i].Finish();
        ExpectSameAs(totals.video, feeds[i].Read().video);
        EXPECT_EQ(feeds[i].Read().facts.width, 64 + 32 * i);
    }
}

TEST(FfmpegPipeline, AnInputFileIsPlayedInALoop) {
    const TemporaryFile input(RecordStream(15));
    StreamReceiver receiver;
    StreamSettings settings = SmallStream(receiver.Url());
    settings.inputFile = input.Path();
    settings.width = 96;
    settings.fps = 30;
    const FeedRecord record = Publish(settings, 75);
    receiver.Finish();
    const TemporaryFile output(receiver.Bytes());
    const Decoded decoded = DecodeFile(output.Path());
    EXPECT_EQ(decoded.width, 96);
    EXPECT_EQ(decoded.pictures, record.video.sent) << "more than two rounds of the file";
    EXPECT_EQ(decoded.faults, 0);
    EXPECT_GT(decoded.brightness, 50);
    EXPECT_GT(decoded.loudness, 0.01);
    EXPECT_EQ(record.audio.lost, 0);
}

TEST(FfmpegPipeline, AStillPictureWithoutSoundPlaysSilently) {
    std::string ppm = "P6\n32 16\n255\n" + std::string(32 * 16 * 3, '\xc8');
    const TemporaryFile bytes(std::vector<std::uint8_t>(ppm.begin(), ppm.end()));
    const std::string path = bytes.Path() + ".ppm";
    std::filesystem::copy_file(bytes.Path(), path);
    StreamReceiver receiver;
    StreamSettings settings = SmallStream(receiver.Url());
    settings.inputFile = path;
    const FeedRecord record = Publish(settings, 20);
    std::filesystem::remove(path);
    receiver.Finish();
    const TemporaryFile output(receiver.Bytes());
    const Decoded decoded = DecodeFile(output.Path());
    EXPECT_EQ(decoded.pictures, record.video.sent);
    EXPECT_NEAR(decoded.brightness, 187, 8) << "200 in full range is 187 in the encoder's";
    EXPECT_NEAR(decoded.loudness, 0, 0.001);
}

void ExpectBadInput(const std::string& path, const std::string& why) {
    StreamSettings settings = SmallStream("udp://127.0.0.1:9");
    settings.inputFile = path;
    const FeedRecord record = RunToItsEnd(settings);
    EXPECT_EQ(record.code, EndCode::BadInput) << record.reason;
    EXPECT_NE(record.reason.find(why), std::string::npos) << record.reason;
    EXPECT_EQ(record.steps, Steps{"ended"});
}

TEST(FfmpegPipeline, AnInputThatIsNoMediaFileEndsItWithAReason) {
    ExpectBadInput("/nonexistent/input.mp4", "\"/nonexistent/input.mp4\": No such file");
    ExpectBadInput("/tmp", "not a regular file");
    ExpectBadInput("/dev/zero", "not a regular file");
    ExpectBadInput("http://127.0.0.1:1/x.mp4", "No such file");
    const TemporaryFile empty({});
    ExpectBadInput(empty.Path(), empty.Path());
    const TemporaryFile garbage(std::vector<std::uint8_t>(1 << 20, 0xa5));
    ExpectBadInput(garbage.Path(), garbage.Path());
}

TEST(FfmpegPipeline, AnInputThatIsAPipeDoesNotBlock) {
    const TemporaryFile place({});
    const std::string path = place.Path() + ".fifo";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    ExpectBadInput(path, "not a regular file");
    std::filesystem::remove(path);
}

TEST(FfmpegPipeline, APlaylistFetchesNothingFromTheNetwork) {
    const SilentServer server;
    const std::string text =
        "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nhttp://127.0.0.1:" + std::to_string(server.Port()) +
        "/1.ts\n#EXT-X-ENDLIST\n";
    const TemporaryFile playlist(std::vector<std::uint8_t>(text.begin(), text.end()));
    ExpectBadInput(playlist.Path(), playlist.Path());
}

TEST(FfmpegPipeline, AnInputThatIsCutShortPlaysAsFarAsItGoes) {
    std::vector<std::uint8_t> bytes = RecordStream(15);
    bytes.resize(bytes.size() * 2 / 3);
    for (std::size_t i = bytes.size() / 2; i < bytes.size() / 2 + 500; ++i) {
        bytes[i] = 0xff;
    }
    const TemporaryFile input(bytes);
    StreamReceiver receiver;
    StreamSettings settings = SmallStream(receiver.Url());
    settings.inputFile = input.Path();
    EXPECT_GE(Publish(settings, 30).video.sent, 30);
}

TEST(FfmpegPipeline, WithoutAnEncoderItSaysWhatWasTried) {
    RecordingFeed feed;
    FfmpegPipeline pipeline(SmallStream("udp://127.0.0.1:9"), feed, {"nonesuch", "h264_v4l2m2m"});
    pipeline.Start();
    ASSERT_TRUE(feed.WaitForEnd());
    EXPECT_EQ(feed.Read().code, EndCode::NoEncoder);
    EXPECT_EQ(feed.Read().reason, "no H.264 encoder could be opened (tried nonesuch, h264_v4l2m2m)");
}

TEST(FfmpegPipeline, AMissingEncoderIsReplacedByTheNext) {
    StreamReceiver receiver;
    RecordingFeed feed;
    std::vector<const char*> encoders = Encoder::VideoEncoders();
    encoders.insert(encoders.begin(), "nonesuch");
    FfmpegPipeline pipeline(SmallStream(receiver.Url()), feed, encoders);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitForPictures(2));
    EXPECT_NE(feed.Read().facts.videoEncoder, "nonesuch");
}

TEST(FfmpegPipeline, BadSettingsEndItWithAReason) {
    StreamSettings settings = SmallStream("udp://127.0.0.1:9");
    settings.videoKbps = -1;
    EXPECT_EQ(RunToItsEnd(settings).code, EndCode::BadSettings);
    EXPECT_EQ(RunToItsEnd(SmallStream("http://127.0.0.1/")).code, EndCode::BadSettings);
    EXPECT_EQ(RunToItsEnd(SmallStream("")).code, EndCode::BadSettings);
}

TEST(FfmpegPipeline, AnUnknownHostEndsItWithAReason) {
    const FeedRecord record = RunToItsEnd(SmallStream("udp://nonexistent.invalid:5004"));
    EXPECT_EQ(record.code, EndCode::PublishFailed);
    EXPECT_NE(record.reason.find("host \"nonexistent.invalid\""), std::string::npos) << record.reason;
    EXPECT_EQ(record.steps, (Steps{"requested", "ended"}));
}

TEST(FfmpegPipeline, AUdpPortWhereNobodyListensEndsItWithAReason) {
    std::string url;
    {
        const StreamReceiver gone;
        url = gone.Url();
    }
    const FeedRecord record = RunToItsEnd(SmallStream(url));
    EXPECT_EQ(record.code, EndCode::SendFailed);
    EXPECT_EQ(record.reason, "publish address \"" + url + "\": Connection refused");
}

TEST(FfmpegPipeline, AnRtmpPortWhereNobodyListensEndsItWithAReason) {
    const std::string url = RtmpUrl(support::FreePort());
    const FeedRecord record = RunToItsEnd(SmallStream(url));
    EXPECT_EQ(record.code, EndCode::PublishFailed);
    EXPECT_EQ(record.reason, "publish address \"" + url + "\": Connection refused");
    EXPECT_EQ(record.steps, (Steps{"requested", "ended"}));
}

TEST(FfmpegPipeline, AnAddressThatDoesNotAnswerEndsItInTime) {
    const SilentServer server;
    StreamSettings settings = SmallStream(RtmpUrl(server.Port()));
    settings.answerTimeout = milliseconds(300);
    FeedRecord record;
    const milliseconds time = support::TimeOf([&] { record = RunToItsEnd(settings); });
    EXPECT_EQ(record.code, EndCode::PublishTimeout);
    EXPECT_EQ(record.reason, "publish address \"" + RtmpUrl(server.Port()) + "\": no answer within 300 ms");
    EXPECT_LT(time.count(), 5000);
}

TEST(FfmpegPipeline, StopsAtOnceWhileTheAddressDoesNotAnswer) {
    const SilentServer server;
    StreamSettings settings = SmallStream(RtmpUrl(server.Port()));
    settings.answerTimeout = std::chrono::minutes(10);
    RecordingFeed feed;
    FfmpegPipeline pipeline(settings, feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitFor([](const FeedRecord& record) { return record.requestedMs != 0; }));
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_LT(support::TimeOf([&pipeline] { pipeline.Stop(); }).count(), 1000);
    EXPECT_EQ(feed.Read().code, EndCode::Stopped);
    EXPECT_EQ(feed.Read().steps, (Steps{"requested", "ended"}));
}

TEST(FfmpegPipeline, StopsAtOnceUnderTheHeaviestLoad) {
    StreamReceiver receiver;
    StreamSettings settings = SmallStream(receiver.Url());
    settings.loadPercent = 10000;
    RecordingFeed feed;
    FfmpegPipeline pipeline(settings, feed);
    pipeline.Start();
    ASSERT_TRUE(feed.WaitFor([](const FeedRecord& record) { return record.video.lost > 0; }));
    EXPECT_LT(support::TimeOf([&pipeline] { pipeline.Stop(); }).count(), 1000);
}

TEST(FfmpegPipeline, StartingAndStoppingAtOnceLeavesNothingBehind) {
    StreamReceiver receiver;
    for (int i = 0; i < 20; ++i) {
        RecordingFeed feed;
        FfmpegPipeline pipeline(SmallStream(receiver.Url()), feed);
        pipeline.Start();
        std::this_thread::sleep_for(milliseconds(i));
        pipeline.Stop();
        EXPECT_EQ(feed.Read().steps.back(), "ended");
        EXPECT_EQ(feed.Read().code, EndCode::Stopped);
    }
}

// Tries until somebody listens, then publishes until the connection ends.
FeedRecord PublishOnceAccepted(const StreamSettings& settings) {
    FeedRecord record;
    for (int attempt = 0; attempt < 200 && record.answeredMs == 0; ++attempt) {
        std::this_thread::sleep_for(milliseconds(20));
        record = RunToItsEnd(settings);
    }
    return record;
}

TEST(FfmpegPipeline, AnRtmpServerGetsPicturesAndSound) {
    const std::string url = RtmpUrl(support::FreePort());
    Decoded decoded;
    std::thread server([&] { decoded = RtmpServer(url).Decode(20); });
    const FeedRecord feed = PublishOnceAccepted(SmallStream(url));
    server.join();
    EXPECT_EQ(decoded.videoCodec, "h264");
    EXPECT_EQ(decoded.audioCodec, "aac");
    EXPECT_EQ(decoded.width, 160);
    EXPECT_GE(decoded.pictures, 20);
    EXPECT_EQ(decoded.faults, 0);
    EXPECT_GT(decoded.loudness, 0.1);
    EXPECT_EQ(feed.facts.transport, Transport::Rtmp);
    EXPECT_EQ(feed.code, EndCode::SendFailed) << "the server hung up";
}

/// An RTMP server that takes a few pictures and then nothing more, with the connection open.
class StuckServer {
public:
    StuckServer() : m_thread([this] { Serve(); }) {}
    ~StuckServer() {
        m_stopFlag.Raise();
        m_thread.join();
    }
    StuckServer(const StuckServer&) = delete;
    StuckServer& operator=(const StuckServer&) = delete;
    const std::string& Url() const { return m_url; }

private:
    void Serve() {
        RtmpServer server(m_url);
        server.Decode(2);
        m_stopFlag.WaitUntil(StopFlag::Clock::now() + std::chrono::seconds(60));
    }

    const std::string m_url = RtmpUrl(support::FreePort());
    StopFlag m_stopFlag;
    std::thread m_thread;
};

TEST(FfmpegPipeline, AServerThatTakesNothingMoreEndsItInTime) {
    const StuckServer server;
    StreamSettings settings = SmallStream(server.Url());
    settings.answerTimeout = milliseconds(500);
    const FeedRecord record = PublishOnceAccepted(settings);
    EXPECT_EQ(record.code, EndCode::SendFailed);
    EXPECT_EQ(record.reason, "publish address \"" + server.Url() + "\": no answer within 500 ms");
}

// True once no packet has been sent for half a second.
bool IsStuck(const RecordingFeed& feed) {
    int sent = -1;
    for (int i = 0; i < 40 && sent != feed.Read().audio.sent; ++i) {
        sent = feed.Read().audio.sent;
        std::this_thread::sleep_for(milliseconds(500));
    }
    return sent == feed.Read().audio.sent && feed.Read().endedMs == 0;
}

TEST(FfmpegPipeline, StopsAtOnceWhileTheServerTakesNothing) {
    const StuckServer server;
    auto feed = std::make_unique<RecordingFeed>();
    std::unique_ptr<FfmpegPipeline> pipeline;
    const auto answeredOrEnded = [](const FeedRecord& record) {
        return record.answeredMs != 0 || record.endedMs != 0;
    };
    for (int attempt = 0; attempt < 200 && feed->Read().answeredMs == 0; ++attempt) {
        std::this_thread::sleep_for(milliseconds(20));
        pipeline.reset();
        feed = std::make_unique<RecordingFeed>();
        pipeline = std::make_unique<FfmpegPipeline>(SmallStream(server.Url()), *feed);
        pipeline->Start();
        ASSERT_TRUE(feed->WaitFor(answeredOrEnded));
    }
    ASSERT_TRUE(feed->WaitForPictures(5)) << feed->Read().reason;
    ASSERT_TRUE(IsStuck(*feed)) << feed->Read().reason;
    EXPECT_LT(support::TimeOf([&pipeline] { pipeline->Stop(); }).count(), 1000);
    EXPECT_EQ(feed->Read().code, EndCode::Stopped);
}

}  // namespace

}  // namespace host
