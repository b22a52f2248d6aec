#pragma once

#include <cstdint>
#include <string>

/// What the heartbeat tells about the broadcaster. A plain record: the one who holds it decides who may touch
/// it. The numbers and texts are the host's and the server's; the library passes them through unchanged and
/// gives a meaning only to `liveStatus`, `micStatus` and a `pushStatus` of 0.
struct LiveHeartReportData {
    static constexpr std::int32_t kOn = 1;
    static constexpr std::int32_t kOff = 2;
    static constexpr std::int32_t kNotPushing = 0;

    std::string sessionId;           ///< live session identifier
    std::int32_t liveStatus = kOff;  ///< kOn = live
    std::int32_t micStatus = kOff;   ///< kOn = co-host link up

    // the anchor's stream
    std::int32_t videoAppId = 0;
    std::int32_t business = 0;
    std::string streamName;
    std::int32_t sid = 0;     ///< stream source id
    std::int32_t width = 0;   ///< pixels
    std::int32_t height = 0;  ///< pixels
    std::int32_t codec = 0;
    std::int32_t pushStatus = kNotPushing;  ///< the host's code; kNotPushing: reports leave the stream out

    // the co-host's stream and the link to it
    std::int32_t micVideoAppId = 0;
    std::int32_t micBusiness = 0;
    std::string micStreamName;
    std::int32_t micSid = 0;
    std::int32_t micWidth = 0;
    std::int32_t micHeight = 0;
    std::int32_t micCodec = 0;
    std::int32_t micPushStatus = 0;
    std::int32_t role = 0;  ///< this side's role in the link
    std::string channelId;

    // the mixed stream
    std::int32_t mixMode = 0;
    std::string mixStreamName;
    std::int32_t mixWidth = 0;
    std::int32_t mixHeight = 0;
    std::int32_t mixStatus = 0;
    std::int32_t mixSid = 0;
    std::int32_t mixCodec = 0;  ///< survives `reset`

    /// Back to the defaults, except for `mixCodec`: servers rely on seeing the codec of the previous mix
    /// until the host sets another.
    void reset() {
        const std::int32_t kept = mixCodec;
        *this = LiveHeartReportData();
        mixCodec = kept;
    }
};
