#include "c_interface/qolive_report.h"
#include "data_report/ReportTypes.h"
#include "message_center/CenterWatch.h"

// The constants of the C interface are the enumerators of the classes; this file only has to compile.

namespace {

using Bas::CenterState;
using data_report::DataTypeEnum;
using data_report::EventTypeEnum;
using data_report::StreamTypeEnum;
using data_report::StringDataTypeEnum;

template <class Enumeration>
constexpr bool Same(int constant, Enumeration enumerator) {
    return constant == static_cast<int>(enumerator);
}

static_assert(Same(QOLIVE_CENTER_UNKNOWN, CenterState::Unknown));
static_assert(Same(QOLIVE_CENTER_STOPPED, CenterState::Stopped));
static_assert(Same(QOLIVE_CENTER_CONNECTING, CenterState::Connecting));
static_assert(Same(QOLIVE_CENTER_CONNECTED, CenterState::Connected));
static_assert(Same(QOLIVE_CENTER_WAITING, CenterState::Waiting));
static_assert(Same(QOLIVE_CENTER_REFUSED, CenterState::Refused));
static_assert(Same(QOLIVE_CENTER_TOKEN_EXPIRED, CenterState::TokenExpired));

static_assert(Same(QOLIVE_STREAM_SAMPLED, StreamTypeEnum::Sampled));
static_assert(Same(QOLIVE_STREAM_EVENTS_ONLY, StreamTypeEnum::EventsOnly));

static_assert(Same(QOLIVE_DATA_VIDEO_FRAMES_CAPTURED, DataTypeEnum::VideoFramesCaptured));
static_assert(Same(QOLIVE_DATA_VIDEO_FRAMES_ENCODED, DataTypeEnum::VideoFramesEncoded));
static_assert(Same(QOLIVE_DATA_VIDEO_FRAMES_SENT, DataTypeEnum::VideoFramesSent));
static_assert(Same(QOLIVE_DATA_FRAMES_LOST, DataTypeEnum::FramesLost));
static_assert(Same(QOLIVE_DATA_AUDIO_FRAMES_CAPTURED, DataTypeEnum::AudioFramesCaptured));
static_assert(Same(QOLIVE_DATA_AUDIO_FRAMES_ENCODED, DataTypeEnum::AudioFramesEncoded));
static_assert(Same(QOLIVE_DATA_AUDIO_FRAMES_SENT, DataTypeEnum::AudioFramesSent));
static_assert(Same(QOLIVE_DATA_UNUSED_COUNTER_7, DataTypeEnum::UnusedCounter7));
static_assert(Same(QOLIVE_DATA_VIDEO_BYTES_ENCODED, DataTypeEnum::VideoBytesEncoded));
static_assert(Same(QOLIVE_DATA_VIDEO_BYTES_SENT, DataTypeEnum::VideoBytesSent));
static_assert(Same(QOLIVE_DATA_AUDIO_BYTES_ENCODED, DataTypeEnum::AudioBytesEncoded));
static_assert(Same(QOLIVE_DATA_AUDIO_BYTES_SENT, DataTypeEnum::AudioBytesSent));
static_assert(Same(QOLIVE_DATA_UNUSED_SETTING_12, DataTypeEnum::UnusedSetting12));
static_assert(Same(QOLIVE_DATA_PROVIDER, DataTypeEnum::Provider));
static_assert(Same(QOLIVE_DATA_PROTOCOL, DataTypeEnum::Protocol));
static_assert(Same(QOLIVE_DATA_REQUEST_TIME, DataTypeEnum::RequestTime));
static_assert(Same(QOLIVE_DATA_RESPONSE_TIME, DataTypeEnum::ResponseTime));
static_assert(Same(QOLIVE_DATA_FIRST_FRAME_ARRIVAL_TIME, DataTypeEnum::FirstFrameArrivalTime));
static_assert(Same(QOLIVE_DATA_ENCODER_TYPE, DataTypeEnum::EncoderType));
static_assert(Same(QOLIVE_DATA_VIDEO_WIDTH, DataTypeEnum::VideoWidth));
static_assert(Same(QOLIVE_DATA_VIDEO_HEIGHT, DataTypeEnum::VideoHeight));
static_assert(Same(QOLIVE_DATA_CONFIGURED_FRAME_RATE, DataTypeEnum::ConfiguredFrameRate));
static_assert(Same(QOLIVE_DATA_CONFIGURED_VIDEO_BITRATE, DataTypeEnum::ConfiguredVideoBitrate));
static_assert(Same(QOLIVE_DATA_CODEC, DataTypeEnum::Codec));
static_assert(Same(QOLIVE_DATA_CONFIGURED_AUDIO_BITRATE, DataTypeEnum::ConfiguredAudioBitrate));
static_assert(Same(QOLIVE_DATA_STREAM_START_TIME, DataTypeEnum::StreamStartTime));
static_assert(Same(QOLIVE_DATA_STREAM_END_TIME, DataTypeEnum::StreamEndTime));
static_assert(Same(QOLIVE_DATA_FIRST_FRAME_TIME, DataTypeEnum::FirstFrameTime));
static_assert(Same(QOLIVE_DATA_NETWORK_TYPE, DataTypeEnum::NetworkType));
static_assert(Same(QOLIVE_DATA_UNUSED_SETTING_29, DataTypeEnum::UnusedSetting29));
static_assert(Same(QOLIVE_DATA_APPLICATION_ID, DataTypeEnum::ApplicationId));
static_assert(Same(QOLIVE_DATA_PID, DataTypeEnum::Pid));
static_assert(Same(QOLIVE_DATA_USER_ID, DataTypeEnum::UserId));
static_assert(Same(QOLIVE_DATA_ROOM_ID, DataTypeEnum::RoomId));
static_assert(Same(QOLIVE_DATA_UNUSED_SETTING_34, DataTypeEnum::UnusedSetting34));
static_assert(Same(QOLIVE_DATA_LIVE_TYPE, DataTypeEnum::LiveType));
static_assert(Same(QOLIVE_DATA_CLARITY_LEVEL, DataTypeEnum::ClarityLevel));
static_assert(Same(QOLIVE_DATA_UNUSED_SETTING_37, DataTypeEnum::UnusedSetting37));
static_assert(Same(QOLIVE_DATA_HOST_MEMORY, DataTypeEnum::HostMemory));
static_assert(Same(QOLIVE_DATA_UNUSED_SETTING_39, DataTypeEnum::UnusedSetting39));
static_assert(Same(QOLIVE_DATA_STATE, DataTypeEnum::State));
static_assert(Same(QOLIVE_DATA_RESULT_CODE, DataTypeEnum::ResultCode));

static_assert(Same(QOLIVE_STRING_URL, StringDataTypeEnum::Url));
static_assert(Same(QOLIVE_STRING_SERVER_IP, StringDataTypeEnum::ServerIp));
static_assert(Same(QOLIVE_STRING_SESSION_ID, StringDataTypeEnum::SessionId));
static_assert(Same(QOLIVE_STRING_VERSION, StringDataTypeEnum::Version));
static_assert(Same(QOLIVE_STRING_DEVICE_ID, StringDataTypeEnum::DeviceId));
static_assert(Same(QOLIVE_STRING_PROCESSOR_DESCRIPTION, StringDataTypeEnum::ProcessorDescription));
static_assert(Same(QOLIVE_STRING_STREAM_ID, StringDataTypeEnum::StreamId));

static_assert(Same(QOLIVE_EVENT_STREAM_START, EventTypeEnum::StreamStart));
static_assert(Same(QOLIVE_EVENT_HOST_RECORD, EventTypeEnum::HostRecord));
static_assert(Same(QOLIVE_EVENT_FIRST_FRAME, EventTypeEnum::FirstFrame));

}  // namespace
