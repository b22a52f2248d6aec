#include "heartbeat/MsgSenderStatus.h"

#include <exception>

#include "message_center/CMsgCenterFactory.h"
#include "platform/JsonText.h"
#include "platform/Log.h"
#include "platform/MsgCenter.h"

namespace {

constexpr int kStatusMsg = 0;
constexpr int kDataMsg = 1;
constexpr int kFirstNotice = 2;
constexpr int kLastNotice = 3;
constexpr int kDisconnected = 0;
constexpr int kConnected = 1;
constexpr int kFullReportRequest = 3;

std::string TextOf(const unsigned char* data, std::size_t len) {
    return data ? std::string(reinterpret_cast<const char*>(data), len) : std::string();
}

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
    if (m_msgCenter) m_msgCenter->closeSender(m_cmd);
}

bool MsgSenderStatus::initSender(int cmd, const std::string& name) {
    Bas::CMsgCenterFactory& factory = *Bas::CMsgCenterFactory::Inst();
    m_centerKeptAlive = name == "backSender" ? factory.m_backupCenter : factory.m_mainCenter;
    m_msgCenter = m_centerKeptAlive.get();
    m_cmd = cmd;
    m_name = name;
    if (m_msgCenter) m_senderPtr = m_msgCenter->createSender(cmd, &MsgSenderStatus::OnSrvCb, this);
    if (!m_senderPtr) Log(LogLevel::Info, "[LiveState] m_senderPtr is null cmd:%d", cmd);
    return m_senderPtr != nullptr;
}

void MsgSenderStatus::OnSrvCb(void* user, int msgType, int code, const unsigned char* data, std::size_t len) {
    if (!user) return;
    MsgSenderStatus& self = *static_cast<MsgSenderStatus*>(user);
    Log(LogLevel::Info, "[LiveState] OnSrvCb sender:%s cmd:%d msgType:%d code:%d len:%d", self.m_name.c_str(),
        self.m_cmd, msgType, code, static_cast<int>(len));
    if (msgType == kStatusMsg)
        self.disponseStatus(code, data, len);
    else if (msgType == kDataMsg)
        self.disponseData(data, len);
    else if (msgType < kFirstNotice || msgType > kLastNotice)
        Log(LogLevel::Info, "[LiveState] OnSrvCb error");
}

void MsgSenderStatus::disponseStatus(int code, const unsigned char* data, std::size_t len) {
    const std::string info = TextOf(data, len);
    m_bDataChanged = true;
    if (code == kConnected) {
        m_bConnected = true;
        Log(LogLevel::Info, "[LiveState] disponseStatus sender:%s connect info:%s", m_name.c_str(),
            info.c_str());
    } else if (code == kDisconnected) {
        m_bConnected = false;
        Log(LogLevel::Info, "[LiveState] disponseStatus sender:%s disconnect info:%s", m_name.c_str(),
            info.c_str());
    }
}

void MsgSenderStatus::disponseData(const unsigned char* data, std::size_t len) {
    if (!data || len == 0) return;
    const std::string text = TextOf(data, len);
    Log(LogLevel::Info, "[LiveState] disponseData sender:%s data:%s", m_name.c_str(), text.c_str());
    if (AsksForFullReport(text)) m_bDataChanged = true;
}
