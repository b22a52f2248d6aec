#include <exception>
#include <utility>

#include "base/JsonText.h"
#include "data_report/DataReportManager.h"
#include "data_report/RecordHead.h"
#include "data_report/RecordTally.h"
#include "data_report/StreamQualityReport.h"
#include "data_report/StreamQulityData.h"
#include "platform/HostSink.h"
#include "platform/Kernel.h"
#include "platform/Log.h"

namespace data_report {
namespace {

void fillRecord(StreamQualityReport& report, EventTypeEnum type, Json::Value& record, Json::Value& head) {
    switch (type) {
        case EventTypeEnum::StreamStart:
            report.BuildStreamStartRecord(record, head);
            break;
        case EventTypeEnum::HostRecord:
            WriteHead(head, RecordKind::Host);
            break;
        case EventTypeEnum::FirstFrame:
            report.BuildFirstFrameRecord(record, head);
            break;
    }
}

}  // namespace

// Closed, never destroyed: a thread of the host that outlives main may be inside an operation.
union DataReportManager::Lasting {
    Lasting() : manager() {}
    ~Lasting() {
        LeaveHostSink();
        if (!IsProcessEnding()) manager.Close();
    }
    Lasting(const Lasting&) = delete;
    Lasting& operator=(const Lasting&) = delete;

    DataReportManager manager;
};

DataReportManager& DataReportManager::Instance() {
    static Lasting instance;
    return instance.manager;
}

DataReportManager::~DataReportManager() {
    Close();
}

bool DataReportManager::isEnabled() const {
    return m_bInit && !IsProcessEnding();
}

// Enabled until the threads have ended: what the last tick reports still goes out.
void DataReportManager::Close() {
    const qolive::MutexLock lock(m_initMutex);
    StopCollectThread();
    StopSendThread();
    CloseSender();
    m_bInit = false;
    ForgetStreams();
}

std::shared_ptr<const DataReportManager::Registry> DataReportManager::TakeSnapshot() {
    const qolive::MutexLock lock(m_reportMutex);
    return m_snapshot;
}

// What is returned is to be let go without the lock: it may be the last to hold a report, whose destruction
// waits for a ping.
std::shared_ptr<const DataReportManager::Registry> DataReportManager::ReplaceRegistry(Registry changed) {
    auto shared = std::make_shared<const Registry>(changed);
    m_reports.swap(changed);
    return std::exchange(m_snapshot, std::move(shared));
}

void DataReportManager::ForgetStreams() {
    Registry streams;
    std::shared_ptr<const Registry> previous;
    const qolive::MutexLock lock(m_reportMutex);
    streams.swap(m_reports);
    previous = std::exchange(m_snapshot, m_noStreams);
}

void DataReportManager::ReportStart(const std::string& streamId, const StreamTypeEnum& type) {
    if (!isEnabled()) return;
    std::shared_ptr<const Registry> previous;
    const qolive::MutexLock lock(m_reportMutex);
    if (!m_bInit || m_reports.count(streamId) != 0) return;
    const auto data = std::make_shared<StreamQulityData>(streamId, type);
    const auto report = std::make_shared<StreamQualityReport>(streamId, type, data);
    Registry changed(m_reports);
    changed.emplace(streamId, StreamReportEntry{data, report});
    previous = ReplaceRegistry(std::move(changed));
}

void DataReportManager::ReportStop(const std::string& streamId) {
    if (!isEnabled()) return;
    std::shared_ptr<const Registry> previous;
    const qolive::MutexLock lock(m_reportMutex);
    if (m_reports.count(streamId) == 0) return;
    Registry changed(m_reports);
    changed.erase(streamId);
    previous = ReplaceRegistry(std::move(changed));
}

void DataReportManager::AddReportData(const std::string& streamId, const DataTypeEnum& type,
                                      const std::int64_t& value) {
    if (!isEnabled()) return;
    const auto streams = TakeSnapshot();
    const auto stream = streams->find(streamId);
    if (stream != streams->end()) stream->second.data->AddData(type, value);
}

void DataReportManager::AddReportStringData(const std::string& streamId, const StringDataTypeEnum& type,
                                            const std::string& value) {
    if (!isEnabled()) return;
    const auto streams = TakeSnapshot();
    const auto stream = streams->find(streamId);
    if (stream != streams->end()) stream->second.data->SetString(type, value);
}

void DataReportManager::ReportEventData(const std::string& streamId, const EventTypeEnum& type,
                                        const Json::Value& event) {
    if (!isEnabled()) return;
    const auto streams = TakeSnapshot();
    const auto stream = streams->find(streamId);
    if (stream == streams->end()) return;
    StreamQualityReport& report = *stream->second.report;
    if (!report.IsEnabled() && type != EventTypeEnum::StreamStart) return;
    try {
        RequireReadableDepth(event);
        Json::Value record(event);
        Json::Value head;
        fillRecord(report, type, record, head);
        Instance().SendStreamReport(record, head);
    } catch (const std::exception& error) {
        Log(LogLevel::Info, "[DataReportManager] ReportEventData event not sent: %s", error.what());
    }
}

}  // namespace data_report
