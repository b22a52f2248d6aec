#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "base/Sync.h"
#include "data_report/DataReportManager.h"
#include "data_report/RecordTally.h"

namespace data_report {

struct DataReportManager::SendData {
    std::string head;
    std::string body;
    std::uint64_t queuedMs = 0;  ///< tick count

    std::uint64_t bytes() const { return head.size() + body.size(); }
};

/// The manager's inner operations, and what it has beside its own members.
struct DataReportManager::Impl {
    using Registry = std::map<std::string, StreamReportEntry>;
    using SharedRegistry = std::shared_ptr<const Registry>;
    using SendQueue = std::deque<std::shared_ptr<SendData>>;
    union Lasting;

    static bool IsEnabled(const DataReportManager& manager);

    // The channel and the threads.
    static bool OpenSender(DataReportManager& manager) QOLIVE_REQUIRES(manager.m_impl->initMutex);
    static void CloseSender(DataReportManager& manager) QOLIVE_REQUIRES(manager.m_impl->initMutex);
    static bool StartThreads(DataReportManager& manager) QOLIVE_REQUIRES(manager.m_impl->initMutex);
    static void StopCollectThread(DataReportManager& manager);
    static void Close(DataReportManager& manager);

    // The streams.
    static SharedRegistry TakeSnapshot(DataReportManager& manager);
    static SharedRegistry ReplaceRegistry(DataReportManager& manager, Registry changed)
        QOLIVE_REQUIRES(manager.m_reportMutex);
    static std::shared_ptr<StreamQualityReport> TakeOut(DataReportManager& manager,
                                                        const std::string& streamId);
    static void ForgetStreams(DataReportManager& manager);
    static void TickStreams(DataReportManager& manager);

    // The queue.
    static void Enqueue(DataReportManager& manager, std::shared_ptr<SendData> message);
    static SendQueue TakeQueue(DataReportManager& manager);
    static void SendBatch(DataReportManager& manager, SendQueue batch);

    qolive::Mutex initMutex;
    std::shared_ptr<QoPlayer::MsgCenter> heldCenter;
    const SharedRegistry noStreams = std::make_shared<const Registry>();
    SharedRegistry snapshot = noStreams;  // used with m_reportMutex held
    RecordTally tally;
};

}  // namespace data_report
