#include <chrono>
#include <exception>
#include <utility>

#include "base/JsonText.h"
#include "base/RaiseFlag.h"
#include "data_report/DataReportManager.h"
#include "data_report/MessageId.h"
#include "data_report/RecordTally.h"
#include "data_report/ServerPacket.h"
#include "data_report/StreamQualityReport.h"
#include "message_center/CenterShare.h"
#include "message_center/SenderCallback.h"
#include "platform/Commands.h"
#include "platform/GuardedPass.h"
#include "platform/Kernel.h"
#include "platform/LibraryThread.h"
#include "platform/Log.h"
#include "platform/MsgCenter.h"

namespace data_report {
namespace {

constexpr DWORD kRetryPauseMs = 200;

std::int64_t steadyNs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

const std::uint8_t* bytesOf(const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

}  // namespace

DataReportManager::DataReportManager()
    : m_startSteadyNs(steadyNs()),
      m_startSystemMs(static_cast<std::int64_t>(GetTickCountMs())),
      m_noStreams(std::make_shared<const Registry>()),
      m_snapshot(m_noStreams),
      m_tally(std::make_unique<RecordTally>()) {}

bool DataReportManager::start() {
    if (IsProcessEnding()) return false;
    const qolive::MutexLock lock(m_initMutex);
    if (!m_bInit && !m_bStopSend) m_bInit = OpenSender() && StartThreads();
    return m_bInit;
}

bool DataReportManager::OpenSender() {
    m_heldCenter = Bas::ShareCenter(true);
    m_msgCenter = m_heldCenter.get();
    if (!m_msgCenter) {
        Log(LogLevel::Info, "[DataReportManager] m_msgCenter is null");
        return false;
    }
    m_cmd = qolive::kStreamReportCommand;
    m_name = "StreamSender";
    m_senderPtr = m_msgCenter->createSender(m_cmd, &DataReportManager::OnSrvCb, this);
    if (!m_senderPtr) Log(LogLevel::Info, "[DataReportManager] m_senderPtr is null cmd:%d", m_cmd);
    return m_senderPtr != nullptr;
}

void DataReportManager::CloseSender() {
    if (!m_msgCenter) return;
    m_msgCenter->closeSender(m_cmd);
    m_senderPtr = nullptr;
    m_bConnected = false;
    m_msgCenter = nullptr;
    m_heldCenter.reset();
}

bool DataReportManager::StartThreads() {
    KeepLibraryLoaded();
    try {
        m_bStopThread = false;
        m_collectThread = StartLibraryThread([this] { OnThread(); });
        StartSendThread();
        return true;
    } catch (const std::exception& error) {  // no thread, or no memory
        Log(LogLevel::Info, "[DataReportManager] start failed: %s", error.what());
    }
    StopCollectThread();
    CloseSender();
    return false;
}

bool DataReportManager::isConnected() {
    return m_bConnected && !IsProcessEnding();
}

void DataReportManager::OnSrvCb(void* user, int msgType, int code, const unsigned char* data,
                                std::size_t len) {
    if (!user) return;
    auto& self = *static_cast<DataReportManager*>(user);
    switch (Bas::ReadCallback(self.m_name, self.m_cmd, msgType, code, len)) {
        case Bas::CallbackKind::Status:
            self.disponseStatus(code, data, len);
            break;
        case Bas::CallbackKind::Data:
            self.disponseData(code, data, len);
            break;
        case Bas::CallbackKind::Ignored:
            break;
    }
}

void DataReportManager::disponseStatus(int code, const unsigned char* data, std::size_t len) {
    m_bStatusReceived = true;
    Bas::FollowConnection(m_bConnected, m_name, code, data, len);
}

void DataReportManager::disponseData(int /*code*/, const unsigned char* data, std::size_t len) {
    const auto streams = TakeSnapshot();
    if (streams->empty()) return;
    const ServerPacket packet(data, len);
    for (const auto& stream : *streams)
        stream.second.report->OnDisponseData(0, packet);
}

std::string DataReportManager::GetMid() {
    const qolive::MutexLock lock(m_midMutex);
    const IdClock clock{m_startSystemMs, m_startSteadyNs};
    const IdSlot slot = AwaitIdSlot({m_lastMs, m_sequence}, [&clock] { return clock.At(steadyNs()); });
    m_lastMs = slot.ms;
    m_sequence = slot.sequence;
    return MessageId(slot, m_datacenterId, m_workerId);
}

bool DataReportManager::SendStreamReport(const Json::Value& record, Json::Value& head) {
    if (!isEnabled()) return false;
    try {
        RequireReadableDepth(record);
        RequireReadableDepth(head);
        head["mid"] = GetMid();
        auto message = std::make_shared<SendData>();
        message->body = WriteCompactJson(record);
        message->head = WriteCompactJson(head);
        Enqueue(std::move(message));
    } catch (const std::exception& error) {
        Log(LogLevel::Info, "[DataReportManager] SendStreamReport not queued: %s", error.what());
        return false;
    }
    m_sendCond.notify_one();
    return true;
}

void DataReportManager::StartSendThread() {
    m_bStopSend = false;
    m_sendThread = StartLibraryThread([this] { OnSendThread(); });
}

void DataReportManager::StopSendThread() {
    qolive::RaiseFlag(m_bStopSend, m_sendMutex, m_sendCond);
    JoinUnlessEnding(m_sendThread);
}

void DataReportManager::OnSendThread() {
    while (!m_bStopSend) {
        const bool passed =
            RunPass("[DataReportManager] out of memory: a pass of the send thread was dropped",
                    [this] { SendBatch(TakeQueue()); });
        if (!passed) Sleep(kRetryPauseMs);
    }
}

// A message that memory was too short for is tried again, as one that is refused.
bool DataReportManager::TrySend(const SendData& message) {
    bool sent = false;
    RunPass("[DataReportManager] out of memory: a record is sent later",
            [&] { sent = DoSendStreamReport(message.body, message.head); });
    return sent;
}

// A stop ends the repeats of a message that is refused: the process would not end otherwise.
void DataReportManager::SendBatch(SendQueue batch) {
    while (!batch.empty() && m_bConnected) {
        const SendData& oldest = *batch.front();
        m_tally->oldestTakenMs = oldest.queuedMs;
        if (TrySend(oldest)) {
            m_tally->went(m_tally->handedOver, oldest.bytes());
            batch.pop_front();
        } else if (m_bStopSend) {
            return;
        } else {
            Sleep(kRetryPauseMs);
        }
    }
    m_tally->oldestTakenMs = 0;
    LoseBatch(batch);
}

bool DataReportManager::DoSendStreamReport(const std::string& body, const std::string& head) {
    if (!m_bConnected || !m_senderPtr) return false;
    const bool ok =
        m_senderPtr->send(bytesOf(body), body.size(), bytesOf(head), static_cast<std::int32_t>(head.size()));
    if (ok) Log(LogLevel::Info, "SendStreamReport success");
    return ok;
}

}  // namespace data_report
