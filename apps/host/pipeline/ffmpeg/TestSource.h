#pragma once

#include "host/pipeline/ffmpeg/MediaSource.h"

namespace host {

/// A test picture that moves (a sliding gradient, a travelling box, a band of noise that keeps the encoder
/// busy) and a steady tone, another on each side.
class TestSource : public MediaSource {
public:
    TestSource(int width, int height) : m_width(width), m_height(height) {}

    libav::FramePtr Picture(std::int64_t index) override;
    libav::FramePtr Sound(std::int64_t index) override;

private:
    int m_width;
    int m_height;
    std::uint32_t m_noise = 1;
};

}  // namespace host
