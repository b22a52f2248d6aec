#pragma once

#include <vector>

#include "host/pipeline/EncoderCounters.h"
#include "host/pipeline/PipelineThread.h"
#include "host/pipeline/StreamPipeline.h"

namespace host {

/// Encodes to H.264 and AAC with FFmpeg's libraries and sends MPEG-TS over UDP or FLV over RTMP.
class FfmpegPipeline : public StreamPipeline {
public:
    /// `videoEncoders`: H.264 encoders by FFmpeg's names, in the order in which they are tried.
    FfmpegPipeline(const StreamSettings& settings, StreamFeed& feed, std::vector<const char*> videoEncoders);
    FfmpegPipeline(const StreamSettings& settings, StreamFeed& feed);

    const char* Name() const override { return "FFmpeg pipeline"; }
    void Start() override;
    void Stop() override { m_thread.Stop(); }
    EncoderFigures Figures() const override { return m_counters.Read(); }

private:
    void Stream();

    const StreamSettings m_settings;
    StreamFeed& m_feed;
    const std::vector<const char*> m_videoEncoders;
    EncoderCounters m_counters;
    PipelineThread m_thread;
};

}  // namespace host
