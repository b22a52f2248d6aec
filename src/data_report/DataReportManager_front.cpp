#include <exception>
#include <utility>

#include "base/JsonText.h"
#include "data_report/DataReportManagerImpl.h"
#include "data_report/RecordHead.h"
#include "data_report/StreamQualityReport.h"
#include "data_report/StreamQulityData.h"
#include "platform/HostSink.h"
#include "platform/Kernel.h"
#include "platform/Log.h"

namespace data_report {
namespace {

void FillRecord(StreamQualityReport& report, EventTypeEnum type, Json::Value& record, Json::Value& head) {
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
union DataReportManager::Impl::Lasting {
    Lasting() : manager() {}
    ~Lasting() {
        LeaveHostSink();
        if (!IsProcessEnding()) Close(manager);
    }
    Lasting(const Lasting&) = delete;
    Lasting& operator=(const Lasting&) = delete;

    DataReportManager manager;
};

DataReportManager& DataReportManager::Instance() {
    static Impl::Lasting instance;
    return instance.manager;
}

DataReportManager::~DataReportManager() {
    Impl::Close(*this);
}

bool DataReportManager::Impl::IsEnabled(const DataReportManager& manager) {
    return manager.m_bInit && !IsProcessEnding();
}

// Enabled until the threads have ended: what the last tick reports still goes out.
void DataReportManager::Impl::Close(DataReportManager& manager) {
    const qolive::MutexLock lock(manager.m_impl->initMutex);
    StopCollectThread(manager);
    manager.StopSendThread();
    CloseSender(manager);
    manager.m_bInit = false;
    ForgetStreams(manager);
}

DataReportManager::Impl::SharedRegistry DataReportManager::Impl::TakeSnapshot(DataReportManager& manager) {
    const qolive::MutexLock lock(manager.m_reportMutex);
    return manager.m_impl->snapshot;
}

// What is returned is to be let go without the lock: it may be the last to hold a report, whose destruction
// waits for a ping.
DataReportManager::Impl::SharedRegistry DataReportManager::Impl::ReplaceRegistry(DataReportManager& manager,
                                                                                 Registry changed) {
    auto shared = std::make_shared<const Registry>(changed);
    manager.m_reports.swap(changed);
    return std::exchange(manager.m_impl->snapshot, std::move(shared));
}

std::shared_ptr<StreamQualityReport> DataReportManager::Impl::TakeOut(DataReportManager& manager,
                                                                      const std::string& streamId) {
    SharedRegistry previous;
    const qolive::MutexLock lock(manager.m_reportMutex);
    const auto found = manager.m_reports.find(streamId);
    if (found == manager.m_reports.end()) return nullptr;
    auto report = found->second.report;
    Registry changed(manager.m_reports);
    changed.erase(streamId);
    previous = ReplaceRegistry(manager, std::move(changed));
    return report;
}

void DataReportManager::Impl::ForgetStreams(DataReportManager& manager) {
    Registry streams;
    SharedRegistry previous;
    const qolive::MutexLock lock(manager.m_reportMutex);
    streams.swap(manager.m_reports);
    previous = std::exchange(manager.m_impl->snapshot, manager.m_impl->noStreams);
}

void DataReportManager::ReportStart(const std::string& streamId, const StreamTypeEnum& type) {
    if (!Impl::IsEnabled(*this)) return;
    Impl::SharedRegistry previous;
    const qolive::MutexLock lock(m_reportMutex);
    if (!m_bInit || m_reports.count(streamId) != 0) return;
    const auto data = std::make_shared<StreamQulityData>(streamId, type);
    const auto report = std::make_shared<StreamQualityReport>(streamId, type, data);
    Impl::Registry changed(m_reports);
    changed.emplace(streamId, StreamReportEntry{data, report});
    previous = Impl::ReplaceRegistry(*this, std::move(changed));
}

void DataReportManager::ReportStop(const std::string& streamId) {
    if (!Impl::IsEnabled(*this)) return;
    const auto report = Impl::TakeOut(*this, streamId);
    if (report) report->EndReportThread();
}

void DataReportManager::AddReportData(const std::string& streamId, const DataTypeEnum& type,
                                      const std::int64_t& value) {
    if (!Impl::IsEnabled(*this)) return;
    const auto streams = Impl::TakeSnapshot(*this);
    const auto stream = streams->find(streamId);
    if (stream != streams->end()) stream->second.data->AddData(type, value);
}

void DataReportManager::AddReportStringData(const std::string& streamId, const StringDataTypeEnum& type,
                                            const std::string& value) {
    if (!Impl::IsEnabled(*this)) return;
    const auto streams = Impl::TakeSnapshot(*this);
    const auto stream = streams->find(streamId);
    if (stream != streams->end()) stream->second.data->SetString(type, value);
}

void DataReportManager::ReportEventData(const std::string& streamId, const EventTypeEnum& type,
                                        const Json::Value& event) {
    if (!Impl::IsEnabled(*this)) return;
    const auto streams = Impl::TakeSnapshot(*this);
    const auto stream = streams->find(streamId);
    if (stream == streams->end()) return;
    StreamQualityReport& report = *stream->second.report;
    if (!report.IsEnabled() && type != EventTypeEnum::StreamStart) return;
    try {
        RequireReadableDepth(event);
        Json::Value record(event);
        Json::Value head;
        FillRecord(report, type, record, head);
        Instance().SendStreamReport(record, head);
    } catch (const std::exception& error) {
        Log(LogLevel::Info, "[DataReportManager] ReportEventData event not sent: %s", error.what());
    }
}

}  // namespace data_report
