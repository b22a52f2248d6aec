#include "host/pipeline/ffmpeg/SoundConverter.h"

#include <algorithm>

#include "host/pipeline/CaptureSchedule.h"

namespace host {

namespace {

// Below this one frame would swell into more memory than any sound is worth.
constexpr int kLowestRate = 1000;

void CopyLayout(AVChannelLayout& to, const AVFrame& sound) {
    av_channel_layout_uninit(&to);
    if (sound.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&to, sound.ch_layout.nb_channels);
    } else {
        libav::Check(av_channel_layout_copy(&to, &sound.ch_layout), EndCode::InternalFault, "channel layout");
    }
}

}  // namespace

SoundConverter::SoundConverter()
    : m_fifo(libav::NotNull(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, 2, CaptureSchedule::kSamplesPerFrame))) {}

bool SoundConverter::Fits(const AVFrame& sound) const {
    const bool sameLayout = sound.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC
                                ? sound.ch_layout.nb_channels == m_layout.nb_channels
                                : av_channel_layout_compare(&m_layout, &sound.ch_layout) == 0;
    return m_resampler && sameLayout && m_format == sound.format && m_rate == sound.sample_rate;
}

void SoundConverter::Prepare(const AVFrame& sound) {
    if (sound.sample_rate < kLowestRate) {
        throw PipelineError(EndCode::BadInput,
                            "input file: sound at " + std::to_string(sound.sample_rate) + " Hz");
    }
    CopyLayout(m_layout, sound);
    m_format = sound.format;
    m_rate = sound.sample_rate;
    AVChannelLayout stereo = {};
    av_channel_layout_default(&stereo, 2);
    SwrContext* resampler = nullptr;
    libav::Check(swr_alloc_set_opts2(&resampler, &stereo, AV_SAMPLE_FMT_FLTP, CaptureSchedule::kSampleRate,
                                     &m_layout, static_cast<AVSampleFormat>(m_format), m_rate, 0, nullptr),
                 EndCode::BadInput, "input file: sound");
    m_resampler.reset(resampler);
    libav::Check(swr_init(resampler), EndCode::BadInput, "input file: sound");
}

void SoundConverter::Add(const AVFrame& sound) {
    if (!Fits(sound)) Prepare(sound);
    const int room = swr_get_out_samples(m_resampler.get(), sound.nb_samples);
    if (room <= 0) return;
    libav::FramePtr converted(libav::NotNull(av_frame_alloc()));
    converted->format = AV_SAMPLE_FMT_FLTP;
    converted->nb_samples = room;
    av_channel_layout_default(&converted->ch_layout, 2);
    libav::Check(av_frame_get_buffer(converted.get(), 0), EndCode::InternalFault, "sound buffer");
    const auto** in = const_cast<const std::uint8_t**>(sound.extended_data);
    const int count =
        libav::Check(swr_convert(m_resampler.get(), converted->extended_data, room, in, sound.nb_samples),
                     EndCode::InternalFault, "resampling");
    auto** out = reinterpret_cast<void**>(converted->extended_data);
    libav::Check(av_audio_fifo_write(m_fifo.get(), out, count), EndCode::InternalFault, "sound buffer");
}

int SoundConverter::Take(AVFrame& frame, int offset, int count) {
    const std::ptrdiff_t bytes = offset * static_cast<std::ptrdiff_t>(sizeof(float));
    void* planes[2] = {frame.data[0] + bytes, frame.data[1] + bytes};
    return av_audio_fifo_read(m_fifo.get(), planes, std::min(count, Available()));
}

void SoundConverter::Clear() {
    av_audio_fifo_reset(m_fifo.get());
    m_resampler.reset();
}

}  // namespace host
