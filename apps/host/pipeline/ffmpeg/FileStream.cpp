#include "host/pipeline/ffmpeg/FileStream.h"

#include <algorithm>
#include <filesystem>

namespace host {

using std::chrono::nanoseconds;

namespace {

constexpr AVRational kNanosecondUnits{1, 1000000000};
constexpr std::int64_t kMostPixels = 7680LL * 4320;
constexpr std::chrono::hours kLongestPeriod{24};
constexpr std::chrono::seconds kPeriodOfTimeless{1};

// A pipe or a device could block in open(), where no stop reaches it.
void RequireRegularFile(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::is_regular_file(status)) return;
    const bool missing = status.type() == std::filesystem::file_type::not_found;
    throw PipelineError(EndCode::BadInput, "input file \"" + path + "\": " +
                                               (missing ? "No such file"
                                                : error ? error.message()
                                                        : std::string("not a regular file")));
}

}  // namespace

FileStream::FileStream(const std::string& path, AVMediaType type, const StopFlag& stop)
    : m_path(path), m_type(type), m_stop(stop), m_packet(libav::NotNull(av_packet_alloc())) {
    RequireRegularFile(path);
    Open();
}

void FileStream::Open() {
    libav::Options options;
    // A playlist must not fetch anything from the network.
    options.Set("protocol_whitelist", "file");
    AVFormatContext* format = nullptr;
    const std::string what = "input file \"" + m_path + "\"";
    libav::Check(avformat_open_input(&format, ("file:" + m_path).c_str(), nullptr, options.Get()),
                 EndCode::BadInput, what);
    m_format.reset(format);
    libav::Check(avformat_find_stream_info(format, nullptr), EndCode::BadInput, what);
    const AVCodec* codec = nullptr;
    const int index = av_find_best_stream(format, m_type, -1, -1, &codec, 0);
    m_codec.reset();
    if (index >= 0 && codec != nullptr) OpenDecoder(index, codec);
}

void FileStream::OpenDecoder(int index, const AVCodec* codec) {
    for (unsigned i = 0; i < m_format->nb_streams; ++i) {
        const bool ours = i == static_cast<unsigned>(index);
        m_format->streams[i]->discard = ours ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    m_stream = m_format->streams[index];
    m_codec.reset(libav::NotNull(avcodec_alloc_context3(codec)));
    m_codec->thread_count = 1;
    m_codec->max_pixels = kMostPixels;
    const std::string what = "input file \"" + m_path + "\", decoder " + codec->name;
    libav::Check(avcodec_parameters_to_context(m_codec.get(), m_stream->codecpar), EndCode::BadInput, what);
    libav::Check(avcodec_open2(m_codec.get(), codec, nullptr), EndCode::BadInput, what);
}

nanoseconds FileStream::Period() {
    constexpr AVRational kContainerUnits{1, AV_TIME_BASE};
    nanoseconds period(0);
    if (m_format->duration > 0) {
        period = nanoseconds(av_rescale_q(m_format->duration, kContainerUnits, kNanosecondUnits));
    } else {
        period = Measure();
        Rewind();
    }
    if (period <= nanoseconds(0)) period = kPeriodOfTimeless;
    return std::min<nanoseconds>(period, kLongestPeriod);
}

nanoseconds FileStream::Measure() {
    std::int64_t end = 0;
    while (!m_stop.IsRaised() && av_read_frame(m_format.get(), m_packet.get()) >= 0) {
        if (m_packet->pts != AV_NOPTS_VALUE) end = std::max(end, m_packet->pts + m_packet->duration);
        av_packet_unref(m_packet.get());
    }
    return InNanoseconds(end);
}

nanoseconds FileStream::InNanoseconds(std::int64_t time) const {
    return nanoseconds(av_rescale_q(time, m_stream->time_base, kNanosecondUnits));
}

libav::FramePtr FileStream::Next() {
    libav::FramePtr frame(libav::NotNull(av_frame_alloc()));
    while (!m_stop.IsRaised()) {
        const int result = avcodec_receive_frame(m_codec.get(), frame.get());
        if (result >= 0) return frame;
        if (result == AVERROR_EOF) return nullptr;
        if (result == AVERROR(EAGAIN) && !FeedDecoder()) return nullptr;
    }
    return nullptr;
}

// False when the decoder will not give anything more.
bool FileStream::FeedDecoder() {
    if (av_read_frame(m_format.get(), m_packet.get()) < 0)
        return avcodec_send_packet(m_codec.get(), nullptr) >= 0;
    if (m_packet->stream_index == m_stream->index) avcodec_send_packet(m_codec.get(), m_packet.get());
    av_packet_unref(m_packet.get());
    return true;
}

nanoseconds FileStream::TimeOf(const AVFrame& frame) const {
    if (frame.best_effort_timestamp == AV_NOPTS_VALUE) return nanoseconds(0);
    const std::int64_t start = m_stream->start_time == AV_NOPTS_VALUE ? 0 : m_stream->start_time;
    return InNanoseconds(frame.best_effort_timestamp) - InNanoseconds(start);
}

void FileStream::Rewind() {
    const std::int64_t start = m_format->start_time == AV_NOPTS_VALUE ? 0 : m_format->start_time;
    if (av_seek_frame(m_format.get(), -1, start, AVSEEK_FLAG_BACKWARD) < 0) {
        Open();
    } else {
        avcodec_flush_buffers(m_codec.get());
    }
}

}  // namespace host
