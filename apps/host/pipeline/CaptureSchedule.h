#pragma once

#include <chrono>
#include <cstdint>

#include "host/pipeline/StreamFeed.h"

namespace host {

/// When the next frame of a stream is due: pictures at a fixed rate from the start, and sound in frames of
/// 1024 samples at 48 kHz, each due when its last sample has been heard.
class CaptureSchedule {
public:
    static constexpr int kSampleRate = 48000;
    static constexpr int kSamplesPerFrame = 1024;

    struct Slot {
        MediaKind kind = MediaKind::Video;
        std::int64_t index = 0;
        std::chrono::nanoseconds at{0};
    };

    explicit CaptureSchedule(int fps) : m_fps(fps) {}
    Slot Next();

    static std::chrono::nanoseconds PictureTime(std::int64_t index, int fps);

private:
    int m_fps;
    std::int64_t m_videoIndex = 0;
    std::int64_t m_audioIndex = 0;
};

}  // namespace host
