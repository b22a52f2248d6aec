#pragma once

#include <chrono>
#include <functional>

#include "host/pipeline/PublishUrl.h"
#include "host/pipeline/StopFlag.h"
#include "host/pipeline/StreamSettings.h"
#include "host/pipeline/ffmpeg/Libav.h"

namespace host {

/// The connection to a publish address and the container that goes over it: MPEG-TS over UDP, FLV over RTMP.
/// For one thread; a stop requested from another one interrupts whatever it is waiting for.
class Publisher {
public:
    /// Connects to nothing yet.
    Publisher(const StreamSettings& settings, Transport transport, const StopFlag& stop);
    /// Says goodbye where the protocol has one. From a stop on, this and what was being written take half a
    /// second at most.
    ~Publisher();
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

    /// Whether the container carries the codecs' headers apart from the packets.
    bool HeaderApart() const { return (m_format->oformat->flags & AVFMT_GLOBALHEADER) != 0; }

    /// Connects and announces the two streams; raises a PipelineError (PublishFailed, PublishTimeout).
    void Open(const AVCodecContext& video, const AVCodecContext& audio);

    /// Returns once the packet has been handed to the system; raises a PipelineError (SendFailed) when it was
    /// not.
    void Write(MediaKind kind, AVPacket& packet);

private:
    struct FreeFormat {
        void operator()(AVFormatContext* format) const { avformat_free_context(format); }
    };

    static int IsInterrupted(void* self);
    void Connect();
    void AddStream(const AVCodecContext& codec);
    void HeedStop();
    void GiveTime(std::chrono::milliseconds time);
    void Check(int result, EndCode onFailure, EndCode onTimeout) const;

    const std::string m_url;
    const std::chrono::milliseconds m_answerTimeout;
    const int m_sendBuffer;
    const StopFlag& m_stop;
    std::unique_ptr<AVFormatContext, FreeFormat> m_format;
    AVRational m_timeBases[2] = {};
    std::chrono::steady_clock::time_point m_deadline;
    bool m_open = false;
    bool m_stopSeen = false;
};

}  // namespace host
