#include <chrono>

#include "base/RaiseFlag.h"
#include "data_report/StreamQualityReport.h"
#include "data_report/StreamQulityData.h"
#include "platform/GuardedPass.h"
#include "platform/LibraryThread.h"

namespace data_report {
namespace {

constexpr std::chrono::seconds kPingWait{3};

}  // namespace

void StreamQualityReport::StartReportThread() {
    m_bStop = false;
    m_thread = StartLibraryThread([this] { ReportThreadProc(); });
}

void StreamQualityReport::EndReportThread() {
    if (!m_thread) return;
    qolive::RaiseFlag(m_bStop, m_threadMutex, m_threadCond);
    JoinUnlessEnding(m_thread);
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
