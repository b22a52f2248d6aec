#include "host/pipeline/FfmpegPipeline.h"

#include <utility>

#include "common/Clock.h"
#include "host/pipeline/ArtificialLoad.h"
#include "host/pipeline/CaptureThread.h"
#include "host/pipeline/ffmpeg/Encoder.h"
#include "host/pipeline/ffmpeg/MediaSource.h"
#include "host/pipeline/ffmpeg/NumericAddress.h"
#include "host/pipeline/ffmpeg/Publisher.h"

namespace host {

namespace {

/// A frame and its time in units of its encoder's time base.
struct TimedFrame {
    libav::FramePtr frame;
    std::int64_t time = 0;
};

TimedFrame Produce(MediaSource& source, const CaptureSchedule::Slot& slot) {
    if (slot.kind == MediaKind::Video) return {source.Picture(slot.index), slot.index};
    return {source.Sound(slot.index), slot.index * CaptureSchedule::kSamplesPerFrame};
}

/// One stream from its source to its address, while it lasts.
class Transmission {
public:
    Transmission(const StreamSettings& settings, const std::vector<const char*>& videoEncoders,
                 StreamFeed& feed, EncoderCounters& counters, StopFlag& stop)
        : m_settings(settings),
          m_feed(feed),
          m_stop(stop),
          m_address(ParsePublishUrl(settings.publishUrl)),
          m_source(OpenMediaSource(settings, stop)),
          m_publisher(settings, m_address.transport, stop),
          m_video(Encoder::Video(settings, m_publisher.HeaderApart(), videoEncoders, counters)),
          m_audio(Encoder::Audio(settings, m_publisher.HeaderApart(), counters)) {}

    void Open() {
        StreamFacts facts = Facts();
        m_feed.OnPublishRequested(apps::WallMs(), facts);
        facts.serverAddress = NumericAddress(m_address.host);
        m_publisher.Open(m_video.Context(), m_audio.Context());
        m_feed.OnPublishAnswered(apps::WallMs(), facts);
    }

    void Run() {
        CaptureThread<TimedFrame> capture(
            m_settings.fps, m_feed, m_stop,
            [this](const CaptureSchedule::Slot& slot) { return Produce(*m_source, slot); });
        while (auto next = capture.Pop()) {
            Encode(next->first, next->second);
        }
    }

private:
    StreamFacts Facts() const {
        StreamFacts facts = FactsOf(m_settings);
        facts.videoEncoder = m_video.Context().codec->name;
        facts.audioEncoder = m_audio.Context().codec->name;
        facts.encoderClass = m_video.Class();
        facts.transport = m_address.transport;
        return facts;
    }

    void Encode(MediaKind kind, const TimedFrame& timed) {
        if (kind == MediaKind::Video) BurnLoad(m_settings, m_stop);
        Encoder& encoder = kind == MediaKind::Video ? m_video : m_audio;
        encoder.Encode(*timed.frame, timed.time, [this, kind](AVPacket& packet) { Send(kind, packet); });
    }

    void Send(MediaKind kind, AVPacket& packet) {
        const auto bytes = static_cast<std::size_t>(packet.size);
        m_feed.OnEncoded(kind, bytes);
        m_publisher.Write(kind, packet);
        if (!m_firstSent) m_feed.OnFirstPacketSent(apps::WallMs());
        m_firstSent = true;
        m_feed.OnSent(kind, bytes);
    }

    const StreamSettings& m_settings;
    StreamFeed& m_feed;
    StopFlag& m_stop;
    const PublishUrl m_address;
    std::unique_ptr<MediaSource> m_source;
    Publisher m_publisher;
    Encoder m_video;
    Encoder m_audio;
    bool m_firstSent = false;
};

// The libraries' own lines would get between the application's; what goes wrong comes out as a reason.
void QuietenLibraries() {
    static const bool once = (av_log_set_level(AV_LOG_FATAL), true);
    static_cast<void>(once);
}

}  // namespace

FfmpegPipeline::FfmpegPipeline(const StreamSettings& settings, StreamFeed& feed,
                               std::vector<const char*> videoEncoders)
    : m_settings(settings), m_feed(feed), m_videoEncoders(std::move(videoEncoders)), m_thread(feed) {
    QuietenLibraries();
}

FfmpegPipeline::FfmpegPipeline(const StreamSettings& settings, StreamFeed& feed)
    : FfmpegPipeline(settings, feed, Encoder::VideoEncoders()) {}

void FfmpegPipeline::Start() {
    m_thread.Start([this] { Stream(); });
}

void FfmpegPipeline::Stream() {
    const std::string fault = WhyUnusable(m_settings);
    if (!fault.empty()) throw PipelineError(EndCode::BadSettings, fault);
    Transmission transmission(m_settings, m_videoEncoders, m_feed, m_counters, m_thread.Flag());
    transmission.Open();
    transmission.Run();
}

}  // namespace host
