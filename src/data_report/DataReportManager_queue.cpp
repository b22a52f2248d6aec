#include <utility>

#include "data_report/DataReportManagerImpl.h"
#include "data_report/RecordQueueWatch.h"
#include "platform/GuardedPass.h"
#include "platform/Kernel.h"
#include "platform/Log.h"

namespace data_report {

namespace {

constexpr DWORD kRetryPauseMs = 200;

bool IsOver(std::uint64_t bound, std::uint64_t figure) {
    return bound != 0 && figure > bound;
}

/// Both under the queue's mutex. How many drops are to be told of, once that is free.
template <class SendQueue>
std::uint64_t KeepBound(SendQueue& queue, RecordTally& tally) {
    while (queue.size() > 1 &&
           (IsOver(tally.mostRecords, queue.size()) || IsOver(tally.mostBytes, tally.queueBytes))) {
        const std::uint64_t bytes = queue.front()->bytes();
        queue.pop_front();
        tally.queueBytes -= bytes;
        tally.went(tally.droppedByBound, bytes);
        tally.dropped.add();
    }
    return tally.dropped.take(GetTickCount64());
}

void TellDropped(std::uint64_t count) {
    if (count == 0) return;
    Log(LogLevel::Info, "[DataReportManager] records dropped, as more waited than the bound allows: %llu",
        static_cast<unsigned long long>(count));
}

template <class SendQueue>
void LoseBatch(const SendQueue& batch, RecordTally& tally) {
    if (batch.empty()) return;
    for (const auto& message : batch)
        tally.went(tally.lostAtDisconnect, message->bytes());
    Log(LogLevel::Info,
        "[DataReportManager] records lost, as the connection went down while they were sent: %llu",
        static_cast<unsigned long long>(batch.size()));
}

}  // namespace

void DataReportManager::Impl::Enqueue(DataReportManager& manager, std::shared_ptr<SendData> message) {
    RecordTally& tally = manager.m_impl->tally;
    message->queuedMs = GetTickCount64();
    const std::uint64_t bytes = message->bytes();
    std::uint64_t untold = 0;
    {
        const qolive::MutexLock lock(manager.m_sendMutex);
        manager.m_sendQueue.push_back(std::move(message));
        tally.queueBytes += bytes;
        tally.came(bytes);
        untold = KeepBound(manager.m_sendQueue, tally);
    }
    TellDropped(untold);
}

DataReportManager::Impl::SendQueue DataReportManager::Impl::TakeQueue(DataReportManager& manager) {
    RecordTally& tally = manager.m_impl->tally;
    SendQueue batch;
    const qolive::MutexLock lock(manager.m_sendMutex);
    while ((manager.m_sendQueue.empty() || !manager.m_bConnected) && !manager.m_bStopSend)
        manager.m_sendCond.wait(manager.m_sendMutex);
    batch.swap(manager.m_sendQueue);
    tally.queueBytes = 0;
    if (!batch.empty()) tally.oldestTakenMs = batch.front()->queuedMs;
    return batch;
}

// A message that memory is too short for is tried again, as one that is refused. A stop ends the repeats: the
// process would not end otherwise.
void DataReportManager::Impl::SendBatch(DataReportManager& manager, SendQueue batch) {
    RecordTally& tally = manager.m_impl->tally;
    while (!batch.empty() && manager.m_bConnected) {
        const SendData& oldest = *batch.front();
        tally.oldestTakenMs = oldest.queuedMs;
        bool sent = false;
        RunPass("[DataReportManager] out of memory: a record is sent later",
                [&] { sent = manager.DoSendStreamReport(oldest.body, oldest.head); });
        if (sent) {
            tally.went(tally.handedOver, oldest.bytes());
            batch.pop_front();
        } else if (manager.m_bStopSend) {
            return;
        } else {
            Sleep(kRetryPauseMs);
        }
    }
    tally.oldestTakenMs = 0;
    LoseBatch(batch, tally);
}

void DataReportManager::OnSendThread() {
    while (!m_bStopSend) {
        const bool passed =
            RunPass("[DataReportManager] out of memory: a pass of the send thread was dropped",
                    [this] { Impl::SendBatch(*this, Impl::TakeQueue(*this)); });
        if (!passed) Sleep(kRetryPauseMs);
    }
}

/// The way of RecordQueueWatch.h into the manager.
struct RecordQueueAccess {
    static RecordCounters counters(DataReportManager& manager);
    static void bound(DataReportManager& manager, std::uint64_t mostRecords, std::uint64_t mostBytes);
};

RecordCounters RecordQueueAccess::counters(DataReportManager& manager) {
    const RecordTally& tally = manager.m_impl->tally;
    RecordCounters counters;
    const qolive::MutexLock lock(manager.m_sendMutex);
    counters.queued = RecordTally::read(tally.queued);
    counters.handedOver = RecordTally::read(tally.handedOver);
    counters.lostAtDisconnect = RecordTally::read(tally.lostAtDisconnect);
    counters.droppedByBound = RecordTally::read(tally.droppedByBound);
    counters.waiting = RecordTally::read(tally.waiting);
    counters.waitingBytes = RecordTally::read(tally.waitingBytes);
    std::uint64_t oldestMs = tally.oldestTakenMs;
    if (oldestMs == 0 && !manager.m_sendQueue.empty()) oldestMs = manager.m_sendQueue.front()->queuedMs;
    if (oldestMs != 0) counters.oldestWaitingMs = GetTickCount64() - oldestMs;
    return counters;
}

void RecordQueueAccess::bound(DataReportManager& manager, std::uint64_t mostRecords,
                              std::uint64_t mostBytes) {
    RecordTally& tally = manager.m_impl->tally;
    std::uint64_t untold = 0;
    {
        const qolive::MutexLock lock(manager.m_sendMutex);
        tally.mostRecords = mostRecords;
        tally.mostBytes = mostBytes;
        untold = KeepBound(manager.m_sendQueue, tally);
    }
    TellDropped(untold);
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
