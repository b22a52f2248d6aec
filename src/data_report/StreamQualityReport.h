#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <thread>

#include "base/Sync.h"
#include "data_report/ReportTypes.h"
#include "platform/HostReadings.h"

namespace Json {
class Value;
}

namespace data_report {

class ServerPacket;
class StreamQulityData;

/// Turns what one stream was fed into samples and records.
///
/// The collection thread alone calls OnReportTick, and the sample queues belong to it. OnDisponseData comes
/// on the message center's thread, the stream-start and first-frame builders on threads of the host. A
/// sampled stream has a thread of its own that pings the stream's server.
class StreamQualityReport {
public:
    /// Starts the ping thread of a sampled stream; raises std::system_error when that cannot be done.
    StreamQualityReport(const std::string& streamId, const StreamTypeEnum& streamType,
                        std::shared_ptr<StreamQulityData> data);

    /// As EndReportThread.
    ~StreamQualityReport();

    StreamQualityReport(const StreamQualityReport&) = delete;
    StreamQualityReport& operator=(const StreamQualityReport&) = delete;

    /// Ends the ping thread: blocks while a ping runs. For who stops the stream, so that others who work on
    /// it wait for nothing when they let it go.
    void EndReportThread();

    /// Counts `elapsedSec` seconds of reporting and does what is due at that sum: samples at multiples of 5
    /// s, a quality record at multiples of 60 s. Does nothing until the server has accepted the stream. Where
    /// memory is short, the sample or the record is dropped with a logged line. Never throws.
    void OnReportTick(const std::uint64_t& nowMs, const std::uint64_t& elapsedSec);

    /// A data packet from the server. {"type":1,"code":0} accepts the stream for good; anything else is
    /// ignored, whatever it is. Never throws.
    void OnDisponseData(int unused, const unsigned char* data, std::size_t len);
    void OnDisponseData(int unused, const ServerPacket& packet);

    bool IsEnabled() const { return m_bEnabled; }

    /// Fill a record and its head; raise what jsoncpp raises when `record` is neither null nor an object.
    void BuildStreamStartRecord(Json::Value& record, Json::Value& head);
    void BuildFirstFrameRecord(Json::Value& record, Json::Value& head);

private:
    friend struct StreamQualityReportTestPeer;

    static constexpr int kNoAnswerMs = 3000;

    void CollectSamples();
    void DropUnevenSamples();
    template <class Action>
    void ForEachQueue(const Action& action);
    void CollectStreamData();
    void CollectCpuData();
    void ClearSamples();
    int SystemCpu();
    int HostProcessCpu();

    void BuildQualityRecord(Json::Value& record);
    Json::Value StreamSample(std::size_t index) const;
    Json::Value DeviceSample(std::size_t index) const;
    void SendQualityRecord();

    void StartReportThread();
    void ReportThreadProc();
    void PingServer();
    std::string ServerAddress() const;

    const std::string m_streamId;
    const StreamTypeEnum m_streamType;
    std::uint64_t m_elapsedSec = 0;
    std::atomic<std::uint64_t> m_lastTickMs{0};
    std::atomic<std::uint32_t> m_order{1};
    std::atomic<bool> m_bEnabled{false};
    const std::shared_ptr<StreamQulityData> m_data;
    std::uint32_t m_collectPeriod = 5;

    std::deque<std::int64_t> m_streamTimes;
    std::deque<std::uint32_t> m_vcFpsSamples;
    std::deque<std::uint32_t> m_veFpsSamples;
    std::deque<std::uint32_t> m_vsFpsSamples;
    std::deque<std::uint32_t> m_acFpsSamples;
    std::deque<std::uint32_t> m_aeFpsSamples;
    std::deque<std::uint32_t> m_asFpsSamples;
    std::deque<std::uint32_t> m_veBitrateSamples;
    std::deque<std::uint32_t> m_vsBitrateSamples;
    std::deque<std::uint32_t> m_aeBitrateSamples;
    std::deque<std::uint32_t> m_asBitrateSamples;
    std::deque<std::int64_t> m_deviceTimes;
    std::deque<std::uint16_t> m_cpuSamples;
    std::deque<std::uint16_t> m_appCpuSamples;
    std::deque<std::uint16_t> m_memSamples;
    std::deque<std::uint16_t> m_netSamples;

    std::shared_ptr<std::thread> m_thread;
    qolive::Mutex m_threadMutex;
    qolive::ConditionVariable m_threadCond;
    std::atomic<bool> m_bStop{false};
    std::atomic<std::uint64_t> m_rttMs;
    const std::shared_ptr<CCPUUseRate> m_cpuRate;
    const std::shared_ptr<CProcessCPUUseRate> m_processCpuRate;
};

}  // namespace data_report
