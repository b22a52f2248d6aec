#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/JsonText.h"
#include "data_report/DataReportManagerImpl.h"
#include "data_report/StreamQualityReport.h"
#include "data_report/StreamQulityData.h"
#include "support/Eventually.h"

// What the tests reach beyond the public interface.

namespace data_report {

struct StreamQualityReportTestPeer {
    StreamQualityReport& report;

    std::uint64_t lastTickMs() const { return report.m_lastTickMs; }
    std::uint64_t elapsedSec() const { return report.m_elapsedSec; }
    /// Only before the report is accepted: from then on the figure is the collection thread's.
    void setElapsedSec(std::uint64_t seconds) { report.m_elapsedSec = seconds; }
    std::uint64_t rttMs() const { return report.m_rttMs; }
    void setRttMs(std::uint64_t rttMs) { report.m_rttMs = rttMs; }
    bool hasThread() const { return report.m_thread != nullptr; }
    void collect() {
        report.CollectStreamData();
        report.CollectCpuData();
    }
    void setCollectPeriod(std::uint32_t seconds) { report.m_collectPeriod = seconds; }
    void clear() { report.ClearSamples(); }
    Json::Value qualityRecord() {
        Json::Value record;
        report.BuildQualityRecord(record);
        return record;
    }
    std::deque<std::uint32_t>& videoSendSamples() { return report.m_vsBitrateSamples; }
    std::deque<std::uint32_t>& audioSendSamples() { return report.m_asBitrateSamples; }
    void dropLastStreamSample() { report.m_acFpsSamples.pop_back(); }

    /// The sizes of the sixteen queues in order of declaration.
    std::vector<std::size_t> queueSizes() const {
        const auto& r = report;
        return {r.m_streamTimes.size(),      r.m_vcFpsSamples.size(),     r.m_veFpsSamples.size(),
                r.m_vsFpsSamples.size(),     r.m_acFpsSamples.size(),     r.m_aeFpsSamples.size(),
                r.m_asFpsSamples.size(),     r.m_veBitrateSamples.size(), r.m_vsBitrateSamples.size(),
                r.m_aeBitrateSamples.size(), r.m_asBitrateSamples.size(), r.m_deviceTimes.size(),
                r.m_cpuSamples.size(),       r.m_appCpuSamples.size(),    r.m_memSamples.size(),
                r.m_netSamples.size()};
    }
};

struct DataReportManagerTestPeer {
    using Impl = DataReportManager::Impl;

    DataReportManager& manager;

    /// Enables the manager without a channel and without threads, so that a test drives it alone.
    void enableWithoutThreads() { manager.m_bInit = true; }
    void disable() { manager.m_bInit = false; }

    bool has(const std::string& id) const { return Impl::TakeSnapshot(manager)->count(id) != 0; }
    std::shared_ptr<StreamQulityData> data(const std::string& id) const {
        return Impl::TakeSnapshot(manager)->at(id).data;
    }
    std::shared_ptr<StreamQualityReport> report(const std::string& id) const {
        return Impl::TakeSnapshot(manager)->at(id).report;
    }
    std::vector<std::string> ids() const {
        std::vector<std::string> result;
        for (const auto& stream : *Impl::TakeSnapshot(manager))
            result.push_back(stream.first);
        return result;
    }

    /// Without streams; false as well once it has been destroyed, when nothing shares its registries any
    /// more.
    bool livesWithoutStreams() const {
        const auto snapshot = Impl::TakeSnapshot(manager);
        return snapshot == manager.m_impl->noStreams && snapshot.use_count() == 3;
    }

    void tick() { Impl::TickStreams(manager); }
    void endSendThread() { manager.StopSendThread(); }
    bool statusReceived() const { return manager.m_bStatusReceived; }
    void callback(int msgType, int code, const std::string& data) {
        DataReportManager::OnSrvCb(&manager, msgType, code,
                                   reinterpret_cast<const unsigned char*>(data.data()), data.size());
    }
    static void callbackWithoutUser() { DataReportManager::OnSrvCb(nullptr, 0, 1, nullptr, 0); }

    /// Sends `count` messages as one batch, on the calling thread.
    void sendBatch(int count) {
        Impl::SendQueue batch;
        for (int i = 0; i < count; ++i)
            batch.push_back(std::make_shared<DataReportManager::SendData>(
                DataReportManager::SendData{"{}\n", std::to_string(i)}));
        Impl::SendBatch(manager, std::move(batch));
    }

    bool handOver(const std::string& body) { return manager.DoSendStreamReport(body, "{}"); }

    struct Queued {
        Json::Value record;
        Json::Value head;
    };
    std::vector<Queued> takeQueued() {
        const qolive::MutexLock lock(manager.m_sendMutex);
        std::vector<Queued> result;
        for (const auto& message : manager.m_sendQueue) {
            result.emplace_back();
            ParseJson(message->body, result.back().record);
            ParseJson(message->head, result.back().head);
        }
        manager.m_sendQueue.clear();
        return result;
    }
};

using support::Eventually;

constexpr std::size_t kHuge = 10485760;

/// Runs `action(i)` for each i below `count`, all at once, and waits for their ends.
template <class Action>
void AtOnce(int count, Action action) {
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        threads.emplace_back(action, i);
    for (std::thread& thread : threads)
        thread.join();
}

inline void Accept(StreamQualityReport& report) {
    const std::string packet = R"({"type":1,"code":0})";
    report.OnDisponseData(0, reinterpret_cast<const unsigned char*>(packet.data()), packet.size());
}

inline DataTypeEnum DataType(std::int32_t type) {
    return static_cast<DataTypeEnum>(type);
}

inline StringDataTypeEnum StringType(std::int32_t type) {
    return static_cast<StringDataTypeEnum>(type);
}

inline EventTypeEnum EventType(std::int32_t type) {
    return static_cast<EventTypeEnum>(type);
}

inline std::int64_t ValueOf(const StreamQulityData& data, std::int32_t type) {
    const qolive::SharedLock lock(data.m_lock);
    return data.Value(DataType(type));
}

inline std::string TextOf(const StreamQulityData& data, std::int32_t type) {
    const qolive::SharedLock lock(data.m_lock);
    return data.Text(StringType(type));
}

}  // namespace data_report
