#include "data_report/DataReportManager.h"
#include "data_report/RecordHead.h"
#include "data_report/StreamQualityReport.h"
#include "platform/GuardedPass.h"

namespace data_report {
namespace {

constexpr std::uint64_t kQualityRecordPeriod = 60;

}  // namespace

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

}  // namespace data_report
