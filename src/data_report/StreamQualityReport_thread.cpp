#include <chrono>
#include <utility>

#include "base/RaiseFlag.h"
#include "data_report/DataReportManager.h"
#include "data_report/RecordHead.h"
#include "data_report/ServerPacket.h"
#include "data_report/StreamQualityReport.h"
#include "data_report/StreamQulityData.h"
#include "platform/GuardedPass.h"
#include "platform/LibraryThread.h"
#include "platform/Log.h"

namespace data_report {
namespace {

constexpr std::uint64_t kQualityRecordPeriod = 60;
constexpr std::chrono::seconds kPingWait{3};
constexpr int kNoAnswerMs = 3000;

}  // namespace

StreamQualityReport::StreamQualityReport(const std::string& streamId, const StreamTypeEnum& streamType,
                                         std::shared_ptr<StreamQulityData> data)
    : m_streamId(streamId),
      m_streamType(streamType),
      m_data(std::move(data)),
      m_rttMs(kNoAnswerMs),
      m_cpuRate(std::make_shared<CCPUUseRate>()),
      m_processCpuRate(new CProcessCPUUseRate) {
    HostProcessCpu();
    m_cpuRate->Initialize();
    if (m_streamType == StreamTypeEnum::Sampled) StartReportThread();
}

StreamQualityReport::~StreamQualityReport() {
    if (m_streamType != StreamTypeEnum::Sampled) return;
    qolive::RaiseFlag(m_bStop, m_threadMutex, m_threadCond);
    JoinUnlessEnding(m_thread);
}

void StreamQualityReport::OnReportTick(const std::uint64_t& nowMs, const std::uint64_t& elapsedSec) {
    if (!m_bEnabled) return;
    m_elapsedSec += elapsedSec;
    m_lastTickMs = nowMs;
    if (m_streamType != StreamTypeEnum::Sampled) return;
    if (m_elapsedSec % m_collectPeriod == 0) CollectSamples();
    if (m_elapsedSec % kQualityRecordPeriod == 0) SendQualityRecord();
}

void StreamQualityReport::CollectSamples() {
    const bool collected = RunPass("[StreamQualityReport] out of memory: a sample was dropped", [this] {
        CollectStreamData();
        CollectCpuData();
    });
    if (!collected) DropUnevenSamples();
}

void StreamQualityReport::SendQualityRecord() {
    RunPass("[StreamQualityReport] out of memory: a quality record was dropped", [this] {
        Json::Value head;
        Json::Value record;
        BuildQualityRecord(record);
        WriteHead(head, RecordKind::Quality);
        DataReportManager::Instance().SendStreamReport(record, head);
    });
    ClearSamples();
}

void StreamQualityReport::OnDisponseData(int unused, const unsigned char* data, std::size_t len) {
    OnDisponseData(unused, ServerPacket(data, len));
}

void StreamQualityReport::OnDisponseData(int /*unused*/, const ServerPacket& packet) {
    if (packet.isEmpty()) return;
    Log(LogLevel::Info, "[StreamQualityReport] OnDisponseData data:%s", packet.text().c_str());
    if (packet.isAcceptance()) m_bEnabled = true;
}

void StreamQualityReport::StartReportThread() {
    m_bStop = false;
    m_thread = StartLibraryThread([this] { ReportThreadProc(); });
}

void StreamQualityReport::ReportThreadProc() {
    const qolive::MutexLock lock(m_threadMutex);
    while (!m_bStop) {
        const auto deadline = std::chrono::steady_clock::now() + kPingWait;
        const bool timedOut = m_threadCond.wait_until(m_threadMutex, deadline) == std::cv_status::timeout;
        if (timedOut && !m_bStop)
            RunPass("[StreamQualityReport] out of memory: a ping was dropped", [this] { PingServer(); });
    }
}

void StreamQualityReport::PingServer() {
    int rttMs = kNoAnswerMs;
    const std::string server = ServerAddress();
    if (!server.empty()) CPing::GetInstance()->PingHost(server, rttMs);
    m_rttMs = static_cast<std::uint64_t>(rttMs);
}

std::string StreamQualityReport::ServerAddress() const {
    const StreamQulityData& data = *m_data;
    const qolive::SharedLock lock(data.m_lock);
    return data.Text(StringDataTypeEnum::ServerIp);
}

}  // namespace data_report
