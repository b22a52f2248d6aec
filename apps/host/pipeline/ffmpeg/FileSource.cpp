#include "host/pipeline/ffmpeg/FileSource.h"

#include <algorithm>

#include "host/pipeline/CaptureSchedule.h"

namespace host {

using std::chrono::nanoseconds;

namespace {

FileStream OpenPictures(const std::string& path, const StopFlag& stop) {
    FileStream pictures(path, AVMEDIA_TYPE_VIDEO, stop);
    if (!pictures.Exists())
        throw PipelineError(EndCode::BadInput, "input file \"" + path + "\": holds no pictures");
    return pictures;
}

std::int64_t SamplesIn(nanoseconds period) {
    using Samples = std::chrono::duration<std::int64_t, std::ratio<1, CaptureSchedule::kSampleRate>>;
    return std::max<std::int64_t>(1, std::chrono::duration_cast<Samples>(period).count());
}

}  // namespace

FileSource::FileSource(const StreamSettings& settings, const StopFlag& stop)
    : m_path(settings.inputFile),
      m_fps(settings.fps),
      m_pictures(OpenPictures(settings.inputFile, stop)),
      m_period(m_pictures.Period()),
      m_scaler(settings.width, settings.height),
      m_sound(settings.inputFile, AVMEDIA_TYPE_AUDIO, stop),
      m_samplesLeft(SamplesIn(m_period)) {}

libav::FramePtr FileSource::Picture(std::int64_t index) {
    const nanoseconds now = CaptureSchedule::PictureTime(index, m_fps);
    if (now - m_loopStart >= m_period) RewindPictures(now);
    Advance(now - m_loopStart);
    if (!m_shown)
        throw PipelineError(EndCode::BadInput, "input file \"" + m_path + "\": no picture can be decoded");
    return libav::FramePtr(libav::NotNull(av_frame_clone(m_shown.get())));
}

void FileSource::RewindPictures(nanoseconds now) {
    m_loopStart += (now - m_loopStart) / m_period * m_period;
    m_pictures.Rewind();
    m_next.reset();
    m_picturesEnded = false;
}

// Converts the last picture that is due at `now`. The very first is shown early rather than none.
void FileSource::Advance(nanoseconds now) {
    libav::FramePtr due;
    while (!m_picturesEnded && (!m_next || m_pictures.TimeOf(*m_next) <= now)) {
        if (m_next) due = std::move(m_next);
        m_next = m_pictures.Next();
        m_picturesEnded = m_next == nullptr;
    }
    if (due) {
        m_shown = m_scaler.Convert(*due);
    } else if (!m_shown && m_next) {
        m_shown = m_scaler.Convert(*m_next);
    }
}

libav::FramePtr FileSource::Sound(std::int64_t) {
    libav::FramePtr frame = libav::NewSound();
    for (int offset = 0; m_sound.Exists() && offset < frame->nb_samples;) {
        const auto count =
            static_cast<int>(std::min<std::int64_t>(frame->nb_samples - offset, m_samplesLeft));
        FillSound(*frame, offset, count);
        offset += count;
        m_samplesLeft -= count;
        if (m_samplesLeft > 0) continue;
        m_samplesLeft = SamplesIn(m_period);
        m_sound.Rewind();
        m_resampler.Clear();
        m_soundEnded = false;
    }
    return frame;
}

// What the file does not fill stays silent.
void FileSource::FillSound(AVFrame& frame, int offset, int count) {
    while (!m_soundEnded && m_resampler.Available() < count) {
        const libav::FramePtr decoded = m_sound.Next();
        m_soundEnded = decoded == nullptr;
        if (decoded) m_resampler.Add(*decoded);
    }
    m_resampler.Take(frame, offset, count);
}

}  // namespace host
