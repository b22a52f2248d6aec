#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include <qolive_report/data_report/ReportTypes.h>
#include "host/pipeline/StreamFeed.h"

namespace host {

// The codes of this host in its records, beside those of StreamFeed.h: "encodeType" is an EncoderClass,
// "protocol" a Transport, "code" an EndCode.
enum class StreamState { Connecting = 0, Live = 1, Ended = 2 };
enum class VideoCodec { None = 0, H264 = 1 };

/// What the records say about a stream beside what its pipeline knows.
struct StreamIdentity {
    std::string sessionId;
    std::string version;
    std::string deviceId;
    std::string processor;
    std::int64_t memoryMiB = 0;
    std::int64_t provider = 0;
    std::int64_t applicationId = 0;
    std::int64_t pid = 0;
    std::int64_t userId = 0;
    std::int64_t roomId = 0;
    std::int64_t liveType = 0;
    std::int64_t clarity = 0;  ///< this host's level is the number of lines
    std::int64_t network = 0;  ///< 0 = not known
};

/// How a stream has ended, if it has.
struct StreamEnd {
    bool ended = false;
    EndCode code = EndCode::Stopped;
    std::string reason;
};

/// Passes what a pipeline tells on to the reporting library, for one stream, from its ReportStart to its
/// ReportStop. Bitrates go into the records in kbit/s, times in milliseconds since 1970.
///
/// The two events do not go out from the pipeline's threads but from Turn: the stream record once the report
/// channel is up, since what is queued before waits for a record after it, and the first-frame record when
/// the server has had time to accept the stream, since the library drops it before. A stream that is lost and
/// comes back is reported as it begins again; one that never began, once, with the reason.
class ReportingFeed : public StreamFeed {
public:
    static constexpr std::int64_t kAcceptanceTimeMs = 2000;

    /// Announces the stream; the manager must have been initialised.
    ReportingFeed(const std::string& streamId, data_report::StreamTypeEnum type,
                  const StreamIdentity& identity);
    /// Ends the report of the stream. The pipeline must have been stopped.
    ~ReportingFeed() override;
    ReportingFeed(const ReportingFeed&) = delete;
    ReportingFeed& operator=(const ReportingFeed&) = delete;

    /// The stream is about to be started, for the first time or again; no pipeline is running.
    void Prepare();

    /// Reports the events that are due. To be called every now and then, on one thread.
    void Turn(std::int64_t nowMs);

    /// For any thread.
    std::int64_t FramesLost() const { return m_framesLost; }
    /// Since the stream was last started.
    StreamEnd End() const;
    bool IsSending() const { return m_sending; }
    /// Empty settings until the publish address has answered for the first time.
    StreamFacts Facts() const;

    void OnPublishRequested(std::int64_t nowMs, const StreamFacts& facts) override;
    void OnPublishAnswered(std::int64_t nowMs, const StreamFacts& facts) override;
    void OnFirstPacketSent(std::int64_t nowMs) override;
    void OnCaptured(MediaKind kind) override;
    void OnLost(MediaKind kind) override;
    void OnEncoded(MediaKind kind, std::size_t bytes) override;
    void OnSent(MediaKind kind, std::size_t bytes) override;
    void OnEnded(std::int64_t nowMs, EndCode code, const std::string& reason) override;

private:
    void Feed(data_report::DataTypeEnum slot, std::int64_t value) const;
    void Feed(data_report::StringDataTypeEnum slot, const std::string& text) const;
    void FeedState(StreamState state, EndCode code) const;
    void FeedFrame(MediaKind kind, data_report::DataTypeEnum videoSlot,
                   data_report::DataTypeEnum audioSlot) const;
    void Report(data_report::EventTypeEnum event) const;

    const std::string m_streamId;
    std::atomic<bool> m_startDue{false};
    std::atomic<bool> m_startKnown{false};  // a start, or why there is none, has been due
    std::atomic<bool> m_sending{false};
    std::atomic<bool> m_firstFrameDue{false};
    std::atomic<std::int64_t> m_framesLost{0};
    std::int64_t m_startReportedMs = 0;

    mutable std::mutex m_mutex;  // for the two below
    StreamFacts m_facts;
    StreamEnd m_end;
};

}  // namespace host
