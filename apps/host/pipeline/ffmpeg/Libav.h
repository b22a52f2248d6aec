#pragma once

#include <memory>
#include <string>

#include "host/pipeline/PipelineError.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

// Owners for what FFmpeg's libraries allocate, and their errors as text.

namespace host::libav {

struct Free {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};

struct CloseInput {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};

using FramePtr = std::unique_ptr<AVFrame, Free>;
using PacketPtr = std::unique_ptr<AVPacket, Free>;
using CodecPtr = std::unique_ptr<AVCodecContext, Free>;
using FifoPtr = std::unique_ptr<AVAudioFifo, Free>;
using ScalerPtr = std::unique_ptr<SwsContext, Free>;
using ResamplerPtr = std::unique_ptr<SwrContext, Free>;
using InputPtr = std::unique_ptr<AVFormatContext, CloseInput>;

/// Options for an operation that takes them and leaves those that it did not know.
class Options {
public:
    Options() = default;
    ~Options() { av_dict_free(&m_options); }
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;

    void Set(const char* name, const char* value) { av_dict_set(&m_options, name, value, 0); }
    AVDictionary** Get() { return &m_options; }

private:
    AVDictionary* m_options = nullptr;
};

std::string ErrorText(int error);

/// Raises a PipelineError "<what>: <text of result>" when `result` is an error; gives it back otherwise.
int Check(int result, EndCode code, const std::string& what);

/// Raises std::bad_alloc when `pointer` is null.
template <class T>
T* NotNull(T* pointer) {
    if (pointer == nullptr) throw std::bad_alloc();
    return pointer;
}

/// An empty picture of that size in the encoder's format (YUV 4:2:0).
FramePtr NewPicture(int width, int height);
/// Silence: one frame of stereo sound in the encoder's format (planar floats).
FramePtr NewSound();

}  // namespace host::libav
