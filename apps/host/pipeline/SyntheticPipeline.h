#pragma once

#include "host/pipeline/EncoderCounters.h"
#include "host/pipeline/PipelineThread.h"
#include "host/pipeline/StreamPipeline.h"

namespace host {

/// Stands in where FFmpeg's libraries are absent: keeps the schedule, the losses and the bitrates of a real
/// stream, but encodes nothing and sends nothing. What it calls sent is what an encoder of the set bitrate
/// would have made.
class SyntheticPipeline : public StreamPipeline {
public:
    SyntheticPipeline(const StreamSettings& settings, StreamFeed& feed)
        : m_settings(settings), m_feed(feed), m_thread(feed) {}

    const char* Name() const override { return "synthetic pipeline (no encoder)"; }
    void Start() override;
    void Stop() override { m_thread.Stop(); }
    EncoderFigures Figures() const override { return m_counters.Read(); }

private:
    void Stream();
    void Publish();
    void Deliver(MediaKind kind, std::size_t bytes);

    const StreamSettings m_settings;
    StreamFeed& m_feed;
    EncoderCounters m_counters;
    bool m_firstSent = false;
    PipelineThread m_thread;
};

}  // namespace host
