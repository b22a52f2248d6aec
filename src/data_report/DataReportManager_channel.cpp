#include <chrono>
#include <exception>
#include <utility>

#include "base/JsonText.h"
#include "base/RaiseFlag.h"
#include "data_report/DataReportManagerImpl.h"
#include "data_report/MessageId.h"
#include "data_report/ServerPacket.h"
#include "data_report/StreamQualityReport.h"
#include "message_center/CenterShare.h"
#include "message_center/SenderCallback.h"
#include "platform/Commands.h"
#include "platform/Kernel.h"
#include "platform/LibraryThread.h"
#include "platform/Log.h"
#include "platform/MsgCenter.h"

namespace data_report {
namespace {

std::int64_t SteadyNs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

const std::uint8_t* BytesOf(const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

}  // namespace

DataReportManager::DataReportManager()
    : m_startSteadyNs(SteadyNs()),
      m_startSystemMs(static_cast<std::int64_t>(GetTickCountMs())),
      m_impl(std::make_unique<Impl>()) {}

bool DataReportManager::start() {
    if (IsProcessEnding()) return false;
    const qolive::MutexLock lock(m_impl->initMutex);
    if (!m_bInit && !m_bStopSend) m_bInit = Impl::OpenSender(*this) && Impl::StartThreads(*this);
    return m_bInit;
}

bool DataReportManager::Impl::OpenSender(DataReportManager& manager) {
    manager.m_impl->heldCenter = Bas::ShareCenter(true);
    manager.m_msgCenter = manager.m_impl->heldCenter.get();
    if (!manager.m_msgCenter) {
        Log(LogLevel::Info, "[DataReportManager] m_msgCenter is null");
        return false;
    }
    manager.m_cmd = qolive::kStreamReportCommand;
    manager.m_name = "StreamSender";
    manager.m_senderPtr =
        manager.m_msgCenter->createSender(manager.m_cmd, &DataReportManager::OnSrvCb, &manager);
    if (!manager.m_senderPtr)
        Log(LogLevel::Info, "[DataReportManager] m_senderPtr is null cmd:%d", manager.m_cmd);
    return manager.m_senderPtr != nullptr;
}

void DataReportManager::Impl::CloseSender(DataReportManager& manager) {
    if (!manager.m_msgCenter) return;
    manager.m_msgCenter->closeSender(manager.m_cmd);
    manager.m_senderPtr = nullptr;
    manager.m_bConnected = false;
    manager.m_msgCenter = nullptr;
    manager.m_impl->heldCenter.reset();
}

bool DataReportManager::Impl::StartThreads(DataReportManager& manager) {
    KeepLibraryLoaded();
    try {
        manager.m_bStopThread = false;
        manager.m_collectThread = StartLibraryThread([&manager] { manager.OnThread(); });
        manager.StartSendThread();
        return true;
    } catch (const std::exception& error) {  // no thread, or no memory
        Log(LogLevel::Info, "[DataReportManager] start failed: %s", error.what());
    }
    StopCollectThread(manager);
    CloseSender(manager);
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
    const auto streams = Impl::TakeSnapshot(*this);
    if (streams->empty()) return;
    const ServerPacket packet(data, len);
    for (const auto& stream : *streams)
        stream.second.report->OnDisponseData(0, packet);
}

std::string DataReportManager::GetMid() {
    const qolive::MutexLock lock(m_midMutex);
    const IdClock clock{m_startSystemMs, m_startSteadyNs};
    const IdSlot slot = AwaitIdSlot({m_lastMs, m_sequence}, [&clock] { return clock.At(SteadyNs()); });
    m_lastMs = slot.ms;
    m_sequence = slot.sequence;
    return MessageId(slot, m_datacenterId, m_workerId);
}

bool DataReportManager::SendStreamReport(const Json::Value& record, Json::Value& head) {
    if (!Impl::IsEnabled(*this)) return false;
    try {
        RequireReadableDepth(record);
        RequireReadableDepth(head);
        head["mid"] = GetMid();
        auto message = std::make_shared<SendData>();
        message->body = WriteCompactJson(record);
        message->head = WriteCompactJson(head);
        Impl::Enqueue(*this, std::move(message));
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

bool DataReportManager::DoSendStreamReport(const std::string& body, const std::string& head) {
    if (!m_bConnected || !m_senderPtr) return false;
    const bool ok =
        m_senderPtr->send(BytesOf(body), body.size(), BytesOf(head), static_cast<std::int32_t>(head.size()));
    if (ok) Log(LogLevel::Info, "SendStreamReport success");
    return ok;
}

}  // namespace data_report
