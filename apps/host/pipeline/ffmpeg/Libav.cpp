#include "host/pipeline/ffmpeg/Libav.h"

#include <new>

#include "host/pipeline/CaptureSchedule.h"

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace host::libav {

std::string ErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

int Check(int result, EndCode code, const std::string& what) {
    if (result < 0) throw PipelineError(code, what + ": " + ErrorText(result));
    return result;
}

FramePtr NewPicture(int width, int height) {
    FramePtr frame(NotNull(av_frame_alloc()));
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = width;
    frame->height = height;
    Check(av_frame_get_buffer(frame.get(), 0), EndCode::InternalFault, "picture buffer");
    return frame;
}

FramePtr NewSound() {
    FramePtr frame(NotNull(av_frame_alloc()));
    frame->format = AV_SAMPLE_FMT_FLTP;
    frame->sample_rate = CaptureSchedule::kSampleRate;
    frame->nb_samples = CaptureSchedule::kSamplesPerFrame;
    av_channel_layout_default(&frame->ch_layout, 2);
    Check(av_frame_get_buffer(frame.get(), 0), EndCode::InternalFault, "sound buffer");
    av_samples_set_silence(frame->extended_data, 0, frame->nb_samples, 2, AV_SAMPLE_FMT_FLTP);
    return frame;
}

}  // namespace host::libav
