#include <chrono>

#include "data_report/DataReportManagerImpl.h"
#include "data_report/StreamQualityReport.h"
#include "platform/LibraryThread.h"

namespace data_report {

std::uint64_t DataReportManager::GetTickCountMs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void DataReportManager::OnThread() {
    while (!m_bStopThread) {
        std::this_thread::sleep_for(std::chrono::seconds(static_cast<std::uint32_t>(m_intervalSec)));
        Impl::TickStreams(*this);
    }
}

// The period is passed, not the time measured: what is due is counted in ticks.
void DataReportManager::Impl::TickStreams(DataReportManager& manager) {
    const std::uint64_t nowMs = GetTickCountMs();
    const std::uint64_t elapsedSec = static_cast<std::uint32_t>(manager.m_intervalSec);
    const auto streams = TakeSnapshot(manager);
    for (const auto& stream : *streams)
        stream.second.report->OnReportTick(nowMs, elapsedSec);
}

void DataReportManager::Impl::StopCollectThread(DataReportManager& manager) {
    manager.m_bStopThread = true;
    JoinUnlessEnding(manager.m_collectThread);
}

}  // namespace data_report
