#include "host/pipeline/ffmpeg/Publisher.h"

#include <algorithm>
#include <utility>

namespace host {

namespace {

constexpr std::chrono::milliseconds kGoodbyeTime{500};
constexpr std::chrono::milliseconds kNoTime{0};
// What waits in the system's buffer of a TCP connection counts as sent, so there is to be little of it.
constexpr int kSecondsBuffered = 1;

AVFormatContext* NewFormat(Transport transport, const std::string& url) {
    AVFormatContext* format = nullptr;
    const char* name = transport == Transport::Rtmp ? "flv" : "mpegts";
    libav::Check(avformat_alloc_output_context2(&format, nullptr, name, url.c_str()), EndCode::PublishFailed,
                 std::string("container ") + name);
    return format;
}

}  // namespace

Publisher::Publisher(const StreamSettings& settings, Transport transport, const StopFlag& stop)
    : m_url(settings.publishUrl),
      m_answerTimeout(settings.answerTimeout),
      m_sendBuffer(kSecondsBuffered * (settings.videoKbps + settings.audioKbps) * 125),
      m_stop(stop),
      m_format(NewFormat(transport, settings.publishUrl)) {
    m_format->interrupt_callback = {&Publisher::IsInterrupted, this};
    // Each packet leaves at once and whole: what has been written has been sent.
    m_format->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    m_format->flush_packets = 1;
}

Publisher::~Publisher() {
    if (!m_stopSeen) GiveTime(kGoodbyeTime);
    if (m_open) av_write_trailer(m_format.get());
    avio_closep(&m_format->pb);
}

int Publisher::IsInterrupted(void* self) {
    auto& publisher = *static_cast<Publisher*>(self);
    if (publisher.m_stop.IsRaised()) publisher.HeedStop();
    return std::chrono::steady_clock::now() >= publisher.m_deadline ? 1 : 0;
}

// A connection attempt ends at once. What is being sent, and the goodbye, get a moment, so that a stream does
// not end within a frame.
void Publisher::HeedStop() {
    if (std::exchange(m_stopSeen, true)) return;
    m_deadline = std::min(m_deadline, std::chrono::steady_clock::now() + (m_open ? kGoodbyeTime : kNoTime));
}

void Publisher::GiveTime(std::chrono::milliseconds time) {
    m_deadline = std::chrono::steady_clock::now() + time;
}

void Publisher::Check(int result, EndCode onFailure, EndCode onTimeout) const {
    if (result >= 0) return;
    const std::string what = "publish address \"" + m_url + "\": ";
    if (std::chrono::steady_clock::now() >= m_deadline) {
        throw PipelineError(onTimeout,
                            what + "no answer within " + std::to_string(m_answerTimeout.count()) + " ms");
    }
    throw PipelineError(onFailure, what + libav::ErrorText(result));
}

void Publisher::Open(const AVCodecContext& video, const AVCodecContext& audio) {
    AddStream(video);
    AddStream(audio);
    GiveTime(m_answerTimeout);
    Connect();
    libav::Options options;
    options.Set("flvflags", "no_duration_filesize");
    Check(avformat_write_header(m_format.get(), options.Get()), EndCode::PublishFailed,
          EndCode::PublishTimeout);
    m_open = true;
    for (int i = 0; i < 2; ++i) {
        m_timeBases[i] = i == 0 ? video.time_base : audio.time_base;
    }
}

void Publisher::Connect() {
    libav::Options options;
    options.Set("pkt_size", "1316");
    // A connected socket hears that nobody listens at the address.
    options.Set("connect", "1");
    options.Set("send_buffer_size", std::to_string(m_sendBuffer).c_str());
    Check(avio_open2(&m_format->pb, m_url.c_str(), AVIO_FLAG_WRITE, &m_format->interrupt_callback,
                     options.Get()),
          EndCode::PublishFailed, EndCode::PublishTimeout);
}

void Publisher::AddStream(const AVCodecContext& codec) {
    AVStream* stream = libav::NotNull(avformat_new_stream(m_format.get(), nullptr));
    stream->time_base = codec.time_base;
    libav::Check(avcodec_parameters_from_context(stream->codecpar, &codec), EndCode::InternalFault,
                 "stream parameters");
}

void Publisher::Write(MediaKind kind, AVPacket& packet) {
    const int index = kind == MediaKind::Video ? 0 : 1;
    packet.stream_index = index;
    av_packet_rescale_ts(&packet, m_timeBases[index], m_format->streams[index]->time_base);
    GiveTime(m_answerTimeout);
    Check(av_write_frame(m_format.get(), &packet), EndCode::SendFailed, EndCode::SendFailed);
    // MPEG-TS would hold a small sound frame back until others fill its packet.
    Check(av_write_frame(m_format.get(), nullptr), EndCode::SendFailed, EndCode::SendFailed);
}

}  // namespace host
