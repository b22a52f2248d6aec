#pragma once

#include <functional>
#include <vector>

#include "host/pipeline/EncoderCounters.h"
#include "host/pipeline/StreamSettings.h"
#include "host/pipeline/ffmpeg/Libav.h"

namespace host {

/// One opened encoder, H.264 or AAC, without delay of its own where the encoder can. For one thread.
class Encoder {
public:
    using OnPacket = std::function<void(AVPacket&)>;

    /// H.264 encoders in the order in which they are tried.
    static const std::vector<const char*>& VideoEncoders();

    /// The first of `names` that exists and opens; raises a PipelineError (NoEncoder) that says what was
    /// tried when none does. `headerApart`: the container carries the codec's header itself.
    static Encoder Video(const StreamSettings& settings, bool headerApart,
                         const std::vector<const char*>& names, EncoderCounters& counters);
    static Encoder Audio(const StreamSettings& settings, bool headerApart, EncoderCounters& counters);

    /// Encodes one frame, whose time is its index in units of the encoder's time base, and hands over each
    /// packet that is ready.
    void Encode(AVFrame& frame, std::int64_t time, const OnPacket& onPacket);

    const AVCodecContext& Context() const { return *m_codec; }
    EncoderClass Class() const;

private:
    Encoder(MediaKind kind, libav::CodecPtr codec, EncoderCounters& counters);

    MediaKind m_kind;
    libav::CodecPtr m_codec;
    libav::PacketPtr m_packet;
    EncoderCounters* m_counters;
};

}  // namespace host
