#pragma once

#include <cstdint>
#include <memory>

#include "host/pipeline/StreamFeed.h"
#include "host/pipeline/StreamSettings.h"

namespace host {

/// The encoders' own account of what they delivered, kept apart from what the feed is told.
struct EncoderFigures {
    std::int64_t videoFrames = 0;
    std::int64_t videoBytes = 0;
    std::int64_t audioFrames = 0;
    std::int64_t audioBytes = 0;
};

/// Makes one stream: takes pictures and sound, encodes them in real time and sends them to an address, on
/// threads of its own. Several pipelines run side by side.
///
///     StreamSettings settings;
///     settings.publishUrl = "udp://127.0.0.1:5004";
///     std::unique_ptr<StreamPipeline> pipeline = MakeStreamPipeline(settings, feed);
///     pipeline->Start();
///     ...
///     pipeline->Stop();
///
/// Start and Stop are for one thread, and not to be called from inside the feed; Figures and Name are for
/// any.
class StreamPipeline {
public:
    virtual ~StreamPipeline() = default;  ///< stops

    /// What kind of pipeline this is, for the user to read.
    virtual const char* Name() const = 0;

    /// Returns at once; whatever goes wrong comes to the feed as OnEnded. To be called once.
    virtual void Start() = 0;

    /// Ends the stream and waits for it: well under a second whatever the network is doing, except that a
    /// look-up of the publish address's host name is waited for. Nothing is called on the feed afterwards. A
    /// second Stop, or one without a Start, does nothing.
    virtual void Stop() = 0;

    /// Never blocks; the four numbers are each exact but not of the same instant.
    virtual EncoderFigures Figures() const = 0;
};

/// The best pipeline that this build has: one on FFmpeg's libraries, or else the synthetic one. `feed` must
/// outlive it.
std::unique_ptr<StreamPipeline> MakeStreamPipeline(const StreamSettings& settings, StreamFeed& feed);

}  // namespace host
