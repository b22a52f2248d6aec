#pragma once

#include "host/pipeline/ffmpeg/Libav.h"

namespace host {

/// Turns decoded sound into stereo floats at 48 kHz, whatever it changes to on the way, and keeps them until
/// they are taken. For one thread.
class SoundConverter {
public:
    SoundConverter();
    ~SoundConverter() { av_channel_layout_uninit(&m_layout); }
    SoundConverter(const SoundConverter&) = delete;
    SoundConverter& operator=(const SoundConverter&) = delete;

    void Add(const AVFrame& sound);
    int Available() const { return av_audio_fifo_size(m_fifo.get()); }
    /// Moves up to `count` samples into `frame`, from its sample `offset` on; says how many there were.
    int Take(AVFrame& frame, int offset, int count);
    void Clear();

private:
    bool Fits(const AVFrame& sound) const;
    void Prepare(const AVFrame& sound);

    libav::FifoPtr m_fifo;
    libav::ResamplerPtr m_resampler;
    AVChannelLayout m_layout = {};
    int m_format = AV_SAMPLE_FMT_NONE;
    int m_rate = 0;
};

}  // namespace host
