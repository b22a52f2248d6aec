#include "host/pipeline/ffmpeg/Encoder.h"

#include <utility>

#include "host/pipeline/CaptureSchedule.h"

namespace host {

using libav::Check;
using libav::CodecPtr;

namespace {

constexpr int kSecondsBetweenKeyPictures = 2;

CodecPtr NewContext(const AVCodec* codec, bool headerApart) {
    CodecPtr context(libav::NotNull(avcodec_alloc_context3(codec)));
    if (headerApart) context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    // A pipeline owns its threads; those of a codec would outnumber the processors with a few streams.
    context->thread_count = 1;
    return context;
}

CodecPtr NewVideoContext(const AVCodec* codec, const StreamSettings& settings, bool headerApart) {
    CodecPtr context = NewContext(codec, headerApart);
    context->width = settings.width;
    context->height = settings.height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = {1, settings.fps};
    context->framerate = {settings.fps, 1};
    context->gop_size = kSecondsBetweenKeyPictures * settings.fps;
    context->max_b_frames = 0;
    context->bit_rate = settings.videoKbps * 1000LL;
    context->rc_max_rate = context->bit_rate;
    context->rc_buffer_size = settings.videoKbps * 1000;
    return context;
}

CodecPtr OpenVideo(const char* name, const StreamSettings& settings, bool headerApart) {
    const AVCodec* codec = avcodec_find_encoder_by_name(name);
    if (codec == nullptr) return nullptr;
    CodecPtr context = NewVideoContext(codec, settings, headerApart);
    libav::Options options;
    // Options that an encoder does not know stay in the list, which is no fault.
    options.Set("preset", "veryfast");
    options.Set("tune", "zerolatency");
    return avcodec_open2(context.get(), codec, options.Get()) < 0 ? nullptr : std::move(context);
}

std::string Joined(const std::vector<const char*>& names) {
    std::string joined;
    for (const char* name : names) {
        joined += (joined.empty() ? "" : ", ") + std::string(name);
    }
    return joined;
}

}  // namespace

const std::vector<const char*>& Encoder::VideoEncoders() {
    static const std::vector<const char*> names{"libx264", "libopenh264", "h264_nvenc", "h264_mf"};
    return names;
}

Encoder::Encoder(MediaKind kind, CodecPtr codec, EncoderCounters& counters)
    : m_kind(kind),
      m_codec(std::move(codec)),
      m_packet(libav::NotNull(av_packet_alloc())),
      m_counters(&counters) {}

Encoder Encoder::Video(const StreamSettings& settings, bool headerApart,
                       const std::vector<const char*>& names, EncoderCounters& counters) {
    for (const char* name : names) {
        CodecPtr context = OpenVideo(name, settings, headerApart);
        if (context) return {MediaKind::Video, std::move(context), counters};
    }
    throw PipelineError(EndCode::NoEncoder, "no H.264 encoder could be opened (tried " + Joined(names) + ")");
}

Encoder Encoder::Audio(const StreamSettings& settings, bool headerApart, EncoderCounters& counters) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (codec == nullptr) throw PipelineError(EndCode::NoEncoder, "no AAC encoder");
    CodecPtr context = NewContext(codec, headerApart);
    context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context->sample_rate = CaptureSchedule::kSampleRate;
    av_channel_layout_default(&context->ch_layout, 2);
    context->time_base = {1, CaptureSchedule::kSampleRate};
    context->bit_rate = settings.audioKbps * 1000LL;
    Check(avcodec_open2(context.get(), codec, nullptr), EndCode::NoEncoder, "AAC encoder");
    return {MediaKind::Audio, std::move(context), counters};
}

EncoderClass Encoder::Class() const {
    const bool hardware = (m_codec->codec->capabilities & (AV_CODEC_CAP_HARDWARE | AV_CODEC_CAP_HYBRID)) != 0;
    return hardware ? EncoderClass::Hardware : EncoderClass::Software;
}

void Encoder::Encode(AVFrame& frame, std::int64_t time, const OnPacket& onPacket) {
    // An encoder whose first packet precedes the first frame starts that much later: FLV takes no time below
    // that of its first packet, which is a picture's.
    frame.pts = time + m_codec->initial_padding;
    Check(avcodec_send_frame(m_codec.get(), &frame), EndCode::InternalFault, m_codec->codec->name);
    for (;;) {
        const int result = avcodec_receive_packet(m_codec.get(), m_packet.get());
        if (result == AVERROR(EAGAIN)) return;
        Check(result, EndCode::InternalFault, m_codec->codec->name);
        m_counters->Add(m_kind, m_packet->size);
        onPacket(*m_packet);
        av_packet_unref(m_packet.get());
    }
}

}  // namespace host
