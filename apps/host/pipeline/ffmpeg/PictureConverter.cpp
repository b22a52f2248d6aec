#include "host/pipeline/ffmpeg/PictureConverter.h"

namespace host {

libav::FramePtr PictureConverter::Convert(const AVFrame& picture) {
    m_scaler.reset(sws_getCachedContext(m_scaler.release(), picture.width, picture.height,
                                        static_cast<AVPixelFormat>(picture.format), m_width, m_height,
                                        AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!m_scaler)
        throw PipelineError(EndCode::BadInput, "input file: pictures of a format that cannot be converted");
    libav::FramePtr converted = libav::NewPicture(m_width, m_height);
    libav::Check(sws_scale(m_scaler.get(), picture.data, picture.linesize, 0, picture.height, converted->data,
                           converted->linesize),
                 EndCode::InternalFault, "scaling");
    return converted;
}

}  // namespace host
