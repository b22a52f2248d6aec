#include <utility>

#include "base/Sync.h"
#include "heartbeat/CommandTally.h"
#include "heartbeat/LiveHeartReportImpl.h"
#include "heartbeat/MsgSenderStatus.h"
#include "platform/Commands.h"
#include "platform/Kernel.h"
#include "platform/KernelLocks.h"
#include "platform/Lasting.h"

using live_heartbeat::CommandTally;

namespace {

constexpr std::int32_t kPushing = 2;

}  // namespace

LiveHeartReport* LiveHeartReport::GetInstance() {
    static qolive::Lasting<LiveHeartReport> instance;
    return &instance.object;
}

LiveHeartReport::LiveHeartReport()
    : m_heartCmd(qolive::kHeartbeatCommand),
      m_commonCmd(qolive::kHostCommand),
      m_lock(std::make_shared<qolive::CriticalSection>()),
      m_impl(std::make_unique<Impl>()) {}

LiveHeartReport::LiveHeartReport(const LiveHeartReport& other) : LiveHeartReport() {
    *this = other;
}

LiveHeartReport& LiveHeartReport::operator=(const LiveHeartReport& other) {
    if (this == &other || IsProcessEnding()) return *this;
    LiveHeartReportData data;
    std::deque<std::string> commands;
    int heartCmd = 0;
    int commonCmd = 0;
    {
        const qolive::CriticalSectionLock lock(*other.m_lock);
        data = other.m_data;
        commands = other.m_cmdQueue;
        heartCmd = other.m_heartCmd;
        commonCmd = other.m_commonCmd;
    }
    const qolive::CriticalSectionLock lock(*m_lock);
    m_data = std::move(data);
    CommandTally::instance().queueGrows(commands.size());
    CommandTally::instance().queueShrinks(m_cmdQueue.size());
    m_cmdQueue = std::move(commands);
    m_heartCmd = heartCmd;
    m_commonCmd = commonCmd;
    return *this;
}

void LiveHeartReport::updateliveStatus(bool live) {
    Impl::Change(*this, &LiveHeartReportData::liveStatus,
                 live ? LiveHeartReportData::kOn : LiveHeartReportData::kOff);
}

void LiveHeartReport::updatePushStatus(int status) {
    Impl::Change(*this, &LiveHeartReportData::pushStatus, status);
}

void LiveHeartReport::updatemicStatus(bool on) {
    Impl::Change(*this, &LiveHeartReportData::micStatus,
                 on ? LiveHeartReportData::kOn : LiveHeartReportData::kOff);
}

void LiveHeartReport::updateMicPushStatus(int status) {
    Impl::Change(*this, &LiveHeartReportData::micPushStatus, status);
}

void LiveHeartReport::updateMixStreamStatus(int status) {
    Impl::Change(*this, &LiveHeartReportData::mixStatus, status);
}

void LiveHeartReport::updateLiveID(std::string id) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(*m_lock);
    m_data.sessionId = std::move(id);
}

void LiveHeartReport::updateLiveBusinessInfo(int appId, int business) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(*m_lock);
    m_data.videoAppId = appId;
    m_data.business = business;
    updateDataState(true);
}

void LiveHeartReport::updateLiveStreamInfo(std::string streamName, int sid, int width, int height,
                                           int codec) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(*m_lock);
    m_data.streamName = std::move(streamName);
    m_data.sid = sid;
    m_data.width = width;
    m_data.height = height;
    m_data.codec = codec;
    m_data.pushStatus = kPushing;
    updateDataState(true);
}

void LiveHeartReport::updateMicInfo(int appId, int business, std::string streamName, int sid, int width,
                                    int height, int codec, int role, std::string channelId, int mixMode) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(*m_lock);
    m_data.micVideoAppId = appId;
    m_data.micBusiness = business;
    m_data.micStreamName = std::move(streamName);
    m_data.micSid = sid;
    m_data.micWidth = width;
    m_data.micHeight = height;
    m_data.micCodec = codec;
    m_data.role = role;
    m_data.channelId = std::move(channelId);
    m_data.mixMode = mixMode;
    updateDataState(true);
}

void LiveHeartReport::updateMixStreamInfo(std::string mixStreamName, int width, int height, int sid,
                                          int codec) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(*m_lock);
    m_data.mixStreamName = std::move(mixStreamName);
    m_data.mixWidth = width;
    m_data.mixHeight = height;
    m_data.mixSid = sid;
    m_data.mixCodec = codec;
    updateDataState(true);
}

void LiveHeartReport::updateMixMode(int mode) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(*m_lock);
    m_data.mixMode = mode;
    updateDataState(true);
}

void LiveHeartReport::updateDataState(bool changed) {
    if (IsProcessEnding()) return;
    const qolive::MutexLock lock(m_impl->slotLock);
    if (m_mainSender) m_mainSender->m_bDataChanged = changed;
    if (m_backSender) m_backSender->m_bDataChanged = changed;
}

std::string LiveHeartReport::getSessionId() {
    if (IsProcessEnding()) return {};
    const qolive::CriticalSectionLock lock(*m_lock);
    return m_data.sessionId;
}

LiveHeartReportData LiveHeartReport::GetLiveHeartReportData() {
    if (IsProcessEnding()) return {};
    const qolive::CriticalSectionLock lock(*m_lock);
    return m_data;
}

void LiveHeartReport::GetLastReportTm(std::int64_t& mainTm, std::int64_t& backTm) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(*m_lock);
    if (m_mainSender) mainTm = m_mainSender->m_lastReportTm;
    if (m_backSender) backTm = m_backSender->m_lastReportTm;
}

bool LiveHeartReport::isConnecting() {
    if (IsProcessEnding()) return false;
    const qolive::CriticalSectionLock lock(*m_lock);
    if (m_mainSender && m_mainSender->m_bConnected) return true;
    return m_backSender && m_backSender->m_bConnected;
}

void LiveHeartReport::Impl::Change(LiveHeartReport& heartbeat, std::int32_t LiveHeartReportData::*field,
                                   std::int32_t value) {
    if (IsProcessEnding()) return;
    const qolive::CriticalSectionLock lock(*heartbeat.m_lock);
    if (heartbeat.m_data.*field == value) return;
    heartbeat.m_data.*field = value;
    heartbeat.updateDataState(true);
}
