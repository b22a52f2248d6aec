#include "heartbeat/MsgSenderStatus.h"

#include <exception>

#include "base/JsonText.h"
#include "message_center/CenterShare.h"
#include "message_center/SenderCallback.h"
#include "platform/Log.h"
#include "platform/MsgCenter.h"

namespace {

constexpr int kFullReportRequest = 3;

bool AsksForFullReport(const std::string& text) {
    try {
        Json::Value root;
        return ParseJson(text, root) && root["type"].asInt() == kFullReportRequest;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

MsgSenderStatus::MsgSenderStatus() = default;

MsgSenderStatus::~MsgSenderStatus() {
    if (!m_msgCenter) return;
    m_msgCenter->closeSender(m_cmd);
    m_senderPtr = nullptr;
}

bool MsgSenderStatus::initSender(int cmd, const std::string& name) {
    m_centerKeptAlive = Bas::ShareCenter(name != "backSender");
    m_msgCenter = m_centerKeptAlive.get();
    m_cmd = cmd;
    m_name = name;
    if (m_msgCenter) m_senderPtr = m_msgCenter->createSender(cmd, &MsgSenderStatus::OnSrvCb, this);
    if (!m_senderPtr) Log(LogLevel::Info, "[LiveState] m_senderPtr is null cmd:%d", cmd);
    return m_senderPtr != nullptr;
}

void MsgSenderStatus::letCenterGo() {
    m_centerKeptAlive.reset();
}

void MsgSenderStatus::OnSrvCb(void* user, int msgType, int code, const unsigned char* data, std::size_t len) {
    if (!user) return;
    MsgSenderStatus& self = *static_cast<MsgSenderStatus*>(user);
    switch (Bas::ReadCallback(self.m_name, self.m_cmd, msgType, code, len)) {
        case Bas::CallbackKind::Status:
            self.disponseStatus(code, data, len);
            break;
        case Bas::CallbackKind::Data:
            self.disponseData(data, len);
            break;
        case Bas::CallbackKind::Ignored:
            break;
    }
}

// Marked before the sender counts as connected, so that its first report is a full one.
void MsgSenderStatus::disponseStatus(int code, const unsigned char* data, std::size_t len) {
    m_bDataChanged = true;
    Bas::FollowConnection(m_bConnected, m_name, code, data, len);
}

void MsgSenderStatus::disponseData(const unsigned char* data, std::size_t len) {
    if (!data || len == 0) return;
    const std::string text = Bas::TextOf(data, len);
    Log(LogLevel::Info, "[LiveState] disponseData sender:%s data:%s", m_name.c_str(), text.c_str());
    if (AsksForFullReport(text)) m_bDataChanged = true;
}
