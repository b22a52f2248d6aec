#pragma once

#include <cstdint>

// What a host names when it feeds a stream. Only the numbers cross the library's border, so any value of the
// underlying type may arrive; each operation says what it does with the ones that have no name here.

namespace data_report {

/// What the library does for a stream by itself.
enum class StreamTypeEnum : std::int32_t {
    Sampled = 0,     ///< takes samples, sends quality records, pings the stream's server
    EventsOnly = 1,  ///< sends only what the host reports; so does every other value
};

/// The numeric slots of a stream. A counter is added to and starts again from 0 when it has been read into a
/// sample or a record. A setting keeps the latest value. Settings are copied into the records unchanged, so
/// their codes and units are the host's own; the units given here are what readers of the records expect.
enum class DataTypeEnum : std::int32_t {
    VideoFramesCaptured = 0,  ///< counter, frames
    VideoFramesEncoded = 1,   ///< counter, frames
    VideoFramesSent = 2,      ///< counter, frames
    FramesLost = 3,           ///< counter, frames; read once per quality record
    AudioFramesCaptured = 4,  ///< counter, frames
    AudioFramesEncoded = 5,   ///< counter, frames
    AudioFramesSent = 6,      ///< counter, frames
    UnusedCounter7 = 7,       ///< counter, kept and never read
    VideoBytesEncoded = 8,    ///< counter, bytes
    VideoBytesSent = 9,       ///< counter, bytes
    AudioBytesEncoded = 10,   ///< counter, bytes
    AudioBytesSent = 11,      ///< counter, bytes

    UnusedSetting12 = 12,         ///< setting, kept and never read
    Provider = 13,                ///< setting, code
    Protocol = 14,                ///< setting, code
    RequestTime = 15,             ///< setting, ms since 1970-01-01 UTC
    ResponseTime = 16,            ///< setting, ms since 1970-01-01 UTC
    FirstFrameArrivalTime = 17,   ///< setting, ms since 1970-01-01 UTC
    EncoderType = 18,             ///< setting, code
    VideoWidth = 19,              ///< setting, pixels
    VideoHeight = 20,             ///< setting, pixels
    ConfiguredFrameRate = 21,     ///< setting, frames per second
    ConfiguredVideoBitrate = 22,  ///< setting, kbit/s
    Codec = 23,                   ///< setting, code
    ConfiguredAudioBitrate = 24,  ///< setting, kbit/s
    StreamStartTime = 25,         ///< setting, ms since 1970-01-01 UTC
    StreamEndTime = 26,           ///< setting, ms since 1970-01-01 UTC
    FirstFrameTime = 27,          ///< setting, ms since 1970-01-01 UTC
    NetworkType = 28,             ///< setting, code
    UnusedSetting29 = 29,         ///< setting, kept and never read
    ApplicationId = 30,           ///< setting, number
    Pid = 31,                     ///< setting, number
    UserId = 32,                  ///< setting, number
    RoomId = 33,                  ///< setting, number
    UnusedSetting34 = 34,         ///< setting, kept and never read
    LiveType = 35,                ///< setting, code
    ClarityLevel = 36,            ///< setting, code
    UnusedSetting37 = 37,         ///< setting, kept and never read
    HostMemory = 38,              ///< setting, the host's own figure
    UnusedSetting39 = 39,         ///< setting, kept and never read
    State = 40,                   ///< setting, code
    ResultCode = 41,              ///< setting, code
};

/// The text slots of a stream; each keeps the latest text.
enum class StringDataTypeEnum : std::int32_t {
    Url = 0,                   ///< where the stream is sent
    ServerIp = 1,              ///< host name or literal address; also what a sampled stream pings
    SessionId = 2,             ///< "sid" of the stream and quality records
    Version = 3,               ///< of the host application
    DeviceId = 4,              ///< of the machine
    ProcessorDescription = 5,  ///< of the machine
    StreamId = 6,              ///< the stream's name in the records
};

/// What the host reports about a stream. Any other value sends the event as it is, under a head that holds
/// only the message id.
enum class EventTypeEnum : std::int32_t {
    StreamStart = 1,  ///< sends the stream record; the one event that goes out before the server's acceptance
    HostRecord = 3,   ///< sends the event unchanged, as a record of its own kind
    FirstFrame = 4,   ///< sends the first-frame record
};

}  // namespace data_report
