#include "Decoded.h"

#include <cmath>
#include <limits>
#include <map>

namespace host {

namespace {

void LookAtPicture(const AVFrame& frame, Decoded& decoded) {
    double sum = 0;
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            sum += frame.data[0][y * frame.linesize[0] + x];
        }
    }
    decoded.brightness = sum / frame.width / frame.height;
    decoded.width = frame.width;
    decoded.height = frame.height;
    ++decoded.pictures;
}

void LookAtSound(const AVFrame& frame, Decoded& decoded) {
    const auto* samples = reinterpret_cast<const float*>(frame.data[0]);
    double sum = 0;
    for (int i = 0; i < frame.nb_samples; ++i) {
        sum += static_cast<double>(samples[i]) * samples[i];
    }
    decoded.loudness = std::sqrt(sum / frame.nb_samples);
    decoded.sampleRate = frame.sample_rate;
    decoded.samples += frame.nb_samples;
}

class StreamDecoder {
public:
    explicit StreamDecoder(const AVStream& stream)
        : m_video(stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
        const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
        m_codec.reset(avcodec_alloc_context3(codec));
        m_codec->thread_count = 1;
        avcodec_parameters_to_context(m_codec.get(), stream.codecpar);
        avcodec_open2(m_codec.get(), codec, nullptr);
    }

    void Take(const AVPacket* packet, Decoded& decoded) {
        if (avcodec_send_packet(m_codec.get(), packet) < 0) ++decoded.faults;
        libav::FramePtr frame(av_frame_alloc());
        while (avcodec_receive_frame(m_codec.get(), frame.get()) >= 0) {
            if (frame->decode_error_flags != 0) ++decoded.faults;
            m_video ? LookAtPicture(*frame, decoded) : LookAtSound(*frame, decoded);
        }
        (m_video ? decoded.videoCodec : decoded.audioCodec) = m_codec->codec->name;
    }

private:
    bool m_video;
    libav::CodecPtr m_codec;
};

Decoded DecodeInput(AVFormatContext* input, std::int64_t pictures) {
    Decoded decoded;
    std::map<int, StreamDecoder> decoders;
    const libav::PacketPtr packet(av_packet_alloc());
    while (decoded.pictures < pictures && av_read_frame(input, packet.get()) >= 0) {
        const int index = packet->stream_index;
        decoders.try_emplace(index, *input->streams[index]).first->second.Take(packet.get(), decoded);
        av_packet_unref(packet.get());
    }
    for (auto& [index, decoder] : decoders) {
        decoder.Take(nullptr, decoded);
    }
    return decoded;
}

}  // namespace

Decoded DecodeFile(const std::string& path) {
    AVFormatContext* format = nullptr;
    if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) return {};
    const libav::InputPtr input(format);
    avformat_find_stream_info(format, nullptr);
    return DecodeInput(format, std::numeric_limits<std::int64_t>::max());
}

RtmpServer::RtmpServer(const std::string& url) {
    AVFormatContext* format = nullptr;
    libav::Options options;
    options.Set("listen", "1");
    options.Set("timeout", "20");
    options.Set("recv_buffer_size", "8192");
    if (avformat_open_input(&format, url.c_str(), av_find_input_format("flv"), options.Get()) >= 0) {
        m_input.reset(format);
    }
}

Decoded RtmpServer::Decode(std::int64_t pictures) {
    return m_input ? DecodeInput(m_input.get(), pictures) : Decoded();
}

}  // namespace host
