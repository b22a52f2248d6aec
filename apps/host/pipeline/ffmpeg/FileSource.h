#pragma once

#include "host/pipeline/ffmpeg/FileStream.h"
#include "host/pipeline/ffmpeg/MediaSource.h"
#include "host/pipeline/ffmpeg/PictureConverter.h"
#include "host/pipeline/ffmpeg/SoundConverter.h"

namespace host {

/// A media file in an endless loop. Its pictures are shown at the stream's rate (repeated or left out where
/// the file's differs) and scaled to its size; a file without sound is silent.
class FileSource : public MediaSource {
public:
    FileSource(const StreamSettings& settings, const StopFlag& stop);

    libav::FramePtr Picture(std::int64_t index) override;
    libav::FramePtr Sound(std::int64_t index) override;

private:
    void RewindPictures(std::chrono::nanoseconds now);
    void Advance(std::chrono::nanoseconds now);
    void FillSound(AVFrame& frame, int offset, int count);

    const std::string m_path;
    const int m_fps;

    FileStream m_pictures;
    const std::chrono::nanoseconds m_period;
    PictureConverter m_scaler;
    std::chrono::nanoseconds m_loopStart{0};
    libav::FramePtr m_next;   // decoded, not due yet
    libav::FramePtr m_shown;  // converted
    bool m_picturesEnded = false;

    FileStream m_sound;
    SoundConverter m_resampler;
    std::int64_t m_samplesLeft = 0;
    bool m_soundEnded = false;
};

}  // namespace host
