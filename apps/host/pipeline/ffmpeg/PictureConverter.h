#pragma once

#include "host/pipeline/ffmpeg/Libav.h"

namespace host {

/// Scales decoded pictures to the encoder's size and format, whatever they change to on the way. For one
/// thread.
class PictureConverter {
public:
    PictureConverter(int width, int height) : m_width(width), m_height(height) {}
    libav::FramePtr Convert(const AVFrame& picture);

private:
    const int m_width;
    const int m_height;
    libav::ScalerPtr m_scaler;
};

}  // namespace host
