#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace host {

enum class MediaKind { Video, Audio };

/// Why a stream ended. The number is what the reports carry as their result code.
enum class EndCode {
    Stopped = 0,         ///< asked to
    BadSettings = 1,     ///< a setting that cannot be met, or an address that cannot be read
    BadInput = 2,        ///< the input file is missing or holds no picture
    NoEncoder = 3,       ///< no encoder that could be opened
    PublishFailed = 4,   ///< the address refused, or its host is unknown
    PublishTimeout = 5,  ///< the address did not answer in time
    SendFailed = 6,      ///< the connection broke or stalled after it had been up
    InternalFault = 7    ///< decoding, conversion or encoding failed
};

enum class EncoderClass { None = 0, Software = 1, Hardware = 2 };
enum class Transport { None = 0, MpegTsOverUdp = 1, Rtmp = 2 };

/// What is really encoded and where it goes.
struct StreamFacts {
    std::string videoEncoder;
    std::string audioEncoder;
    EncoderClass encoderClass = EncoderClass::None;
    Transport transport = Transport::None;
    std::string url;
    std::string serverAddress;  ///< numeric where the look-up gave one, else the host as written
    int width = 0;
    int height = 0;
    int fps = 0;
    int videoKbps = 0;
    int audioKbps = 0;
};

/// Is told every fact of one stream as it happens.
///
/// OnCaptured and OnLost come from the pipeline's capture thread, everything else from its encoding thread;
/// the two can call at once. No lock is held during a call. A call that takes long holds the stream up. Times
/// are wall-clock milliseconds since 1970.
class StreamFeed {
public:
    virtual ~StreamFeed() = default;

    /// The connection to the publish address is about to be opened; the server's address is not known yet.
    /// Comes at most once for each start.
    virtual void OnPublishRequested(std::int64_t nowMs, const StreamFacts& facts) = 0;
    /// The address has answered (for UDP: the socket is open). Comes at most once for each start, before any
    /// frame.
    virtual void OnPublishAnswered(std::int64_t nowMs, const StreamFacts& facts) = 0;
    /// The first packet has left. Comes at most once for each start, just before its OnSent.
    virtual void OnFirstPacketSent(std::int64_t nowMs) = 0;

    /// The source has produced a frame.
    virtual void OnCaptured(MediaKind kind) = 0;
    /// A captured frame was thrown away because the encoder was behind.
    virtual void OnLost(MediaKind kind) = 0;
    /// The encoder has delivered one frame of that size.
    virtual void OnEncoded(MediaKind kind, std::size_t bytes) = 0;
    /// An encoded frame of that size has been written to the connection.
    virtual void OnSent(MediaKind kind, std::size_t bytes) = 0;

    /// Comes exactly once for each start, as the last call. `reason` is empty for EndCode::Stopped.
    virtual void OnEnded(std::int64_t nowMs, EndCode code, const std::string& reason) = 0;
};

}  // namespace host
