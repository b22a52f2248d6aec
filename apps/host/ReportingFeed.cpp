#include "host/ReportingFeed.h"

#include <qolive_report/data_report/DataReportManager.h>

namespace host {

using data_report::DataReportManager;
using data_report::DataTypeEnum;
using data_report::EventTypeEnum;
using data_report::StringDataTypeEnum;

namespace {

DataReportManager& Reports() {
    return DataReportManager::Instance();
}

std::int64_t CodecOf(const StreamFacts& facts) {
    const bool encodes = facts.encoderClass != EncoderClass::None;
    return static_cast<std::int64_t>(encodes ? VideoCodec::H264 : VideoCodec::None);
}

}  // namespace

ReportingFeed::ReportingFeed(const std::string& streamId, data_report::StreamTypeEnum type,
                             const StreamIdentity& identity)
    : m_streamId(streamId) {
    Reports().ReportStart(streamId, type);
    Feed(StringDataTypeEnum::StreamId, streamId);
    Feed(StringDataTypeEnum::SessionId, identity.sessionId);
    Feed(StringDataTypeEnum::Version, identity.version);
    Feed(StringDataTypeEnum::DeviceId, identity.deviceId);
    Feed(StringDataTypeEnum::ProcessorDescription, identity.processor);
    Feed(DataTypeEnum::HostMemory, identity.memoryMiB);
    Feed(DataTypeEnum::Provider, identity.provider);
    Feed(DataTypeEnum::ApplicationId, identity.applicationId);
    Feed(DataTypeEnum::Pid, identity.pid);
    Feed(DataTypeEnum::UserId, identity.userId);
    Feed(DataTypeEnum::RoomId, identity.roomId);
    Feed(DataTypeEnum::LiveType, identity.liveType);
    Feed(DataTypeEnum::ClarityLevel, identity.clarity);
    Feed(DataTypeEnum::NetworkType, identity.network);
}

ReportingFeed::~ReportingFeed() {
    Reports().ReportStop(m_streamId);
}

void ReportingFeed::Prepare() {
    FeedState(StreamState::Connecting, EndCode::Stopped);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_end = {};
}

void ReportingFeed::Turn(std::int64_t nowMs) {
    if (m_startDue && Reports().IsConnected()) {
        m_startDue = false;
        Report(EventTypeEnum::StreamStart);
        m_startReportedMs = nowMs;
    }
    const bool accepted =
        !m_startDue && m_startReportedMs != 0 && nowMs - m_startReportedMs >= kAcceptanceTimeMs;
    if (accepted && m_firstFrameDue.exchange(false)) Report(EventTypeEnum::FirstFrame);
}

StreamEnd ReportingFeed::End() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_end;
}

StreamFacts ReportingFeed::Facts() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_facts;
}

void ReportingFeed::OnPublishRequested(std::int64_t nowMs, const StreamFacts& facts) {
    Feed(DataTypeEnum::RequestTime, nowMs);
    Feed(StringDataTypeEnum::Url, facts.url);
    Feed(DataTypeEnum::Protocol, static_cast<std::int64_t>(facts.transport));
    Feed(DataTypeEnum::EncoderType, static_cast<std::int64_t>(facts.encoderClass));
    Feed(DataTypeEnum::Codec, CodecOf(facts));
    Feed(DataTypeEnum::VideoWidth, facts.width);
    Feed(DataTypeEnum::VideoHeight, facts.height);
    Feed(DataTypeEnum::ConfiguredFrameRate, facts.fps);
    Feed(DataTypeEnum::ConfiguredVideoBitrate, facts.videoKbps);
    Feed(DataTypeEnum::ConfiguredAudioBitrate, facts.audioKbps);
}

void ReportingFeed::OnPublishAnswered(std::int64_t nowMs, const StreamFacts& facts) {
    Feed(DataTypeEnum::ResponseTime, nowMs);
    Feed(DataTypeEnum::StreamStartTime, nowMs);
    Feed(StringDataTypeEnum::ServerIp, facts.serverAddress);
    FeedState(StreamState::Live, EndCode::Stopped);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_facts = facts;
    }
    m_startKnown = true;
    m_startDue = true;
}

void ReportingFeed::OnFirstPacketSent(std::int64_t nowMs) {
    Feed(DataTypeEnum::FirstFrameArrivalTime, nowMs);
    Feed(DataTypeEnum::FirstFrameTime, nowMs);
    m_firstFrameDue = true;
    m_sending = true;
}

void ReportingFeed::OnCaptured(MediaKind kind) {
    FeedFrame(kind, DataTypeEnum::VideoFramesCaptured, DataTypeEnum::AudioFramesCaptured);
}

void ReportingFeed::OnLost(MediaKind kind) {
    FeedFrame(kind, DataTypeEnum::FramesLost, DataTypeEnum::FramesLost);
    ++m_framesLost;
}

void ReportingFeed::OnEncoded(MediaKind kind, std::size_t bytes) {
    const bool video = kind == MediaKind::Video;
    FeedFrame(kind, DataTypeEnum::VideoFramesEncoded, DataTypeEnum::AudioFramesEncoded);
    Feed(video ? DataTypeEnum::VideoBytesEncoded : DataTypeEnum::AudioBytesEncoded,
         static_cast<std::int64_t>(bytes));
}

void ReportingFeed::OnSent(MediaKind kind, std::size_t bytes) {
    const bool video = kind == MediaKind::Video;
    FeedFrame(kind, DataTypeEnum::VideoFramesSent, DataTypeEnum::AudioFramesSent);
    Feed(video ? DataTypeEnum::VideoBytesSent : DataTypeEnum::AudioBytesSent,
         static_cast<std::int64_t>(bytes));
}

void ReportingFeed::OnEnded(std::int64_t nowMs, EndCode code, const std::string& reason) {
    m_sending = false;
    Feed(DataTypeEnum::StreamEndTime, nowMs);
    FeedState(StreamState::Ended, code);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_end = {true, code, reason};
    }
    // A stream that never began is reported with the reason.
    if (code != EndCode::Stopped && !m_startKnown.exchange(true)) m_startDue = true;
}

void ReportingFeed::Feed(DataTypeEnum slot, std::int64_t value) const {
    Reports().AddReportData(m_streamId, slot, value);
}

void ReportingFeed::Feed(StringDataTypeEnum slot, const std::string& text) const {
    Reports().AddReportStringData(m_streamId, slot, text);
}

void ReportingFeed::FeedState(StreamState state, EndCode code) const {
    Feed(DataTypeEnum::State, static_cast<std::int64_t>(state));
    Feed(DataTypeEnum::ResultCode, static_cast<std::int64_t>(code));
}

void ReportingFeed::FeedFrame(MediaKind kind, DataTypeEnum videoSlot, DataTypeEnum audioSlot) const {
    Feed(kind == MediaKind::Video ? videoSlot : audioSlot, 1);
}

void ReportingFeed::Report(EventTypeEnum event) const {
    Reports().ReportEventData(m_streamId, event, Json::Value());
}

}  // namespace host
