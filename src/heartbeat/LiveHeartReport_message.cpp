#include <exception>
#include <utility>

#include "base/JsonText.h"
#include "heartbeat/CommandTally.h"
#include "heartbeat/LiveHeartReportImpl.h"
#include "heartbeat/MsgSenderStatus.h"
#include "heartbeat/ReportPeriod.h"
#include "platform/GuardedPass.h"
#include "platform/Kernel.h"
#include "platform/KernelLocks.h"
#include "platform/Log.h"
#include "platform/MsgCenter.h"

using live_heartbeat::CommandTally;
using live_heartbeat::IsReportDue;
using live_heartbeat::kMostWaitingCommands;

namespace {

constexpr int kFullReport = 1;
constexpr int kKeepAlive = 2;
constexpr std::int32_t kKeepAlivesPerLogLine = 40;

std::atomic<std::int32_t> g_reportCount{0};

struct Prepared {
    std::string text;
    std::int32_t number = 0;
    bool isFull = false;
};

Json::Value LiveInfo(const LiveHeartReportData& data) {
    Json::Value info(Json::objectValue);
    info["videoAppId"] = data.videoAppId;
    info["business"] = data.business;
    info["streamName"] = data.streamName;
    info["sid"] = data.sid;
    info["width"] = data.width;
    info["height"] = data.height;
    info["codec"] = data.codec;
    info["pushStatus"] = data.pushStatus;
    return info;
}

Json::Value MicInfo(const LiveHeartReportData& data) {
    Json::Value info(Json::objectValue);
    info["videoAppId"] = data.micVideoAppId;
    info["business"] = data.micBusiness;
    info["streamName"] = data.micStreamName;
    info["sid"] = data.micSid;
    info["micWidth"] = data.micWidth;
    info["micHeight"] = data.micHeight;
    info["micCodec"] = data.micCodec;
    info["micPushStatus"] = data.micPushStatus;
    info["role"] = data.role;
    info["channelId"] = data.channelId;
    info["mixStreamName"] = data.mixStreamName;
    info["mixWidth"] = data.mixWidth;
    info["mixHeight"] = data.mixHeight;
    info["mixStatus"] = data.mixStatus;
    info["mixSid"] = data.mixSid;
    info["mixCodec"] = data.mixCodec;
    info["mixMode"] = data.mixMode;
    return info;
}

void AddState(Json::Value& message, const LiveHeartReportData& data) {
    message["sessionId"] = data.sessionId;
    message["liveStatus"] = data.liveStatus;
    message["micStatus"] = data.micStatus;
    const bool isPushing = data.pushStatus != LiveHeartReportData::kNotPushing;
    if (data.liveStatus == LiveHeartReportData::kOn && isPushing) message["liveInfo"] = LiveInfo(data);
    if (data.micStatus == LiveHeartReportData::kOn) message["micInfo"] = MicInfo(data);
}

std::string ReportText(const LiveHeartReportData& data, std::int64_t nowMs, bool isFull) {
    Json::Value message(Json::objectValue);
    message["ts"] = static_cast<Json::Int64>(nowMs);
    message["order"] = static_cast<Json::UInt64>(GetTickCount64() / 100);
    message["type"] = isFull ? kFullReport : kKeepAlive;
    if (isFull) AddState(message, data);
    return WriteCompactJson(message);
}

/// Clears the sender's mark. False, with the mark unchanged, when nothing is to be sent.
bool Prepare(MsgSenderStatus& sender, const LiveHeartReportData& data, std::int64_t nowMs,
             Prepared& prepared) {
    prepared.number = ++g_reportCount;
    if (!sender.m_senderPtr) return false;
    // Taken now, not when the report has left: a mark that comes meanwhile belongs to the next report.
    prepared.isFull = sender.m_bDataChanged.exchange(false);
    try {
        prepared.text = ReportText(data, nowMs, prepared.isFull);
    } catch (const std::exception&) {
        if (prepared.isFull) sender.m_bDataChanged = true;
        return false;
    }
    return true;
}

std::string CommandText(int bizType, const std::string& data) {
    Json::Value message(Json::objectValue);
    message["bizType"] = bizType;
    message["data"] = data;
    return WriteCompactJson(message);
}

/// A message that memory is too short for counts as refused.
bool Send(QoPlayer::MsgSender& sender, const std::string& text) {
    bool sent = false;
    RunPass("[LiveState] out of memory: a message was not handed over", [&] {
        sent = sender.send(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), nullptr, 0);
    });
    return sent;
}

/// Each full report, and one keep-alive in forty.
void LogReport(const MsgSenderStatus& sender, bool isMain, bool ok, const Prepared& report) {
    if (!report.isFull && report.number % kKeepAlivesPerLogLine != 0) return;
    const char* const connection = isMain ? "main sender" : "back sender";
    Log(LogLevel::Info, "[LiveState] msgsender:%u isMain:%s bRet:%d reportData:%s",
        static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(&sender)),
        report.isFull ? connection : "normal", ok ? 1 : 0, report.text.c_str());
}

}  // namespace

bool LiveHeartReport::report(MsgSenderStatus* sender, std::int64_t nowMs, bool periodic) {
    if (IsProcessEnding() || !sender || !sender->m_bConnected) return false;
    Prepared prepared;
    bool isMain = false;
    {
        const qolive::CriticalSectionLock lock(*m_lock);
        if (periodic && !IsReportDue(nowMs, sender->m_reportInterval, sender->m_lastReportTm)) return false;
        if (!Prepare(*sender, m_data, nowMs, prepared)) return false;
        isMain = sender == m_mainSender;
    }
    const bool ok = Send(*sender->m_senderPtr, prepared.text);
    LogReport(*sender, isMain, ok, prepared);
    if (prepared.isFull && !ok) sender->m_bDataChanged = true;
    const qolive::CriticalSectionLock lock(*m_lock);
    sender->m_lastReportTm = nowMs;
    return ok;
}

bool LiveHeartReport::sendComand(int bizType, std::string data) {
    if (IsProcessEnding()) return false;
    try {
        std::string text = CommandText(bizType, data);
        const qolive::CriticalSectionLock lock(*m_lock);
        if (!m_commonSender) return false;
        if (m_cmdQueue.size() >= kMostWaitingCommands) {
            m_cmdQueue.pop_front();
            CommandTally::instance().dropped();
            m_impl->droppedCommands.add();
        }
        m_cmdQueue.push_back(std::move(text));
        CommandTally::instance().queued();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool LiveHeartReport::sendComand() {
    if (IsProcessEnding()) return false;
    const qolive::CriticalSectionLock lock(*m_lock);
    if (!m_commonSender || !m_commonSender->m_bConnected || m_cmdQueue.empty()) return false;
    const std::string& oldest = m_cmdQueue.front();
    if (oldest.empty() || !m_commonSender->m_senderPtr) return false;
    if (!Send(*m_commonSender->m_senderPtr, oldest)) return false;
    m_cmdQueue.pop_front();
    CommandTally::instance().handedOver();
    return true;
}
