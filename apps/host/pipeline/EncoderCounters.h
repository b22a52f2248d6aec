#pragma once

#include <atomic>

#include "host/pipeline/StreamPipeline.h"

namespace host {

/// Counts what one pipeline's encoders deliver, where they deliver it. Any thread.
class EncoderCounters {
public:
    void Add(MediaKind kind, std::int64_t bytes) {
        Tally& tally = kind == MediaKind::Video ? m_video : m_audio;
        tally.frames += 1;
        tally.bytes += bytes;
    }

    EncoderFigures Read() const { return {m_video.frames, m_video.bytes, m_audio.frames, m_audio.bytes}; }

private:
    struct Tally {
        std::atomic<std::int64_t> frames{0};
        std::atomic<std::int64_t> bytes{0};
    };
    Tally m_video;
    Tally m_audio;
};

}  // namespace host
