#include <utility>

#include "data_report/DataReportManager.h"
#include "data_report/RecordQueueWatch.h"
#include "data_report/RecordTally.h"
#include "platform/Kernel.h"
#include "platform/Log.h"

namespace data_report {

struct RecordQueueAccess {
    static RecordCounters counters(DataReportManager& manager) { return manager.CountRecords(); }
    static void bound(DataReportManager& manager, std::uint64_t mostRecords, std::uint64_t mostBytes) {
        manager.BoundQueue(mostRecords, mostBytes);
    }
};

namespace {

bool isOver(std::uint64_t bound, std::uint64_t figure) {
    return bound != 0 && figure > bound;
}

void tellDropped(std::uint64_t count) {
    if (count == 0) return;
    Log(LogLevel::Info, "[DataReportManager] records dropped, as more waited than the bound allows: %llu",
        static_cast<unsigned long long>(count));
}

}  // namespace

void DataReportManager::Enqueue(std::shared_ptr<SendData> message) {
    message->queuedMs = GetTickCount64();
    const std::uint64_t bytes = message->bytes();
    std::uint64_t untold = 0;
    {
        const qolive::MutexLock lock(m_sendMutex);
        m_sendQueue.push_back(std::move(message));
        m_tally->queueBytes += bytes;
        m_tally->came(bytes);
        untold = KeepBound();
    }
    tellDropped(untold);
}

/// How many drops are to be told of, once the lock is free.
std::uint64_t DataReportManager::KeepBound() {
    RecordTally& tally = *m_tally;
    while (m_sendQueue.size() > 1 &&
           (isOver(tally.mostRecords, m_sendQueue.size()) || isOver(tally.mostBytes, tally.queueBytes))) {
        const std::uint64_t bytes = m_sendQueue.front()->bytes();
        m_sendQueue.pop_front();
        tally.queueBytes -= bytes;
        tally.went(tally.droppedByBound, bytes);
        tally.dropped.add();
    }
    return tally.dropped.take(GetTickCount64());
}

void DataReportManager::BoundQueue(std::uint64_t mostRecords, std::uint64_t mostBytes) {
    std::uint64_t untold = 0;
    {
        const qolive::MutexLock lock(m_sendMutex);
        m_tally->mostRecords = mostRecords;
        m_tally->mostBytes = mostBytes;
        untold = KeepBound();
    }
    tellDropped(untold);
}

DataReportManager::SendQueue DataReportManager::TakeQueue() {
    SendQueue batch;
    const qolive::MutexLock lock(m_sendMutex);
    while ((m_sendQueue.empty() || !m_bConnected) && !m_bStopSend)
        m_sendCond.wait(m_sendMutex);
    batch.swap(m_sendQueue);
    m_tally->queueBytes = 0;
    if (!batch.empty()) m_tally->oldestTakenMs = batch.front()->queuedMs;
    return batch;
}

void DataReportManager::LoseBatch(const SendQueue& batch) {
    if (batch.empty()) return;
    for (const auto& message : batch)
        m_tally->went(m_tally->lostAtDisconnect, message->bytes());
    Log(LogLevel::Info,
        "[DataReportManager] records lost, as the connection went down while they were sent: %llu",
        static_cast<unsigned long long>(batch.size()));
}

RecordCounters DataReportManager::CountRecords() {
    const RecordTally& tally = *m_tally;
    RecordCounters counters;
    const qolive::MutexLock lock(m_sendMutex);
    counters.queued = RecordTally::read(tally.queued);
    counters.handedOver = RecordTally::read(tally.handedOver);
    counters.lostAtDisconnect = RecordTally::read(tally.lostAtDisconnect);
    counters.droppedByBound = RecordTally::read(tally.droppedByBound);
    counters.waiting = RecordTally::read(tally.waiting);
    counters.waitingBytes = RecordTally::read(tally.waitingBytes);
    std::uint64_t oldestMs = tally.oldestTakenMs;
    if (oldestMs == 0 && !m_sendQueue.empty()) oldestMs = m_sendQueue.front()->queuedMs;
    if (oldestMs != 0) counters.oldestWaitingMs = GetTickCount64() - oldestMs;
    return counters;
}

RecordCounters GetRecordCounters() {
    if (IsProcessEnding()) return {};
    return RecordQueueAccess::counters(DataReportManager::Instance());
}

void SetRecordBound(std::uint64_t mostRecords, std::uint64_t mostBytes) {
    if (IsProcessEnding()) return;
    RecordQueueAccess::bound(DataReportManager::Instance(), mostRecords, mostBytes);
}

}  // namespace data_report
