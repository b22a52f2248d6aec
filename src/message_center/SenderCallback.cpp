#include "message_center/SenderCallback.h"

#include "platform/Log.h"

namespace Bas {
namespace {

constexpr int kStatusMessage = 0;
constexpr int kDataMessage = 1;
constexpr int kFirstNotice = 2;
constexpr int kLastNotice = 3;
constexpr int kDisconnected = 0;
constexpr int kConnected = 1;

}  // namespace

CallbackKind ReadCallback(const std::string& name, int cmd, int msgType, int code, std::size_t len) {
    Log(LogLevel::Info, "[LiveState] OnSrvCb sender:%s cmd:%d msgType:%d code:%d len:%d", name.c_str(), cmd,
        msgType, code, static_cast<int>(len));
    if (msgType == kStatusMessage) return CallbackKind::Status;
    if (msgType == kDataMessage) return CallbackKind::Data;
    if (msgType < kFirstNotice || msgType > kLastNotice) Log(LogLevel::Info, "[LiveState] OnSrvCb error");
    return CallbackKind::Ignored;
}

void FollowConnection(std::atomic<bool>& connected, const std::string& name, int code,
                      const unsigned char* data, std::size_t len) {
    if (code != kConnected && code != kDisconnected) return;
    connected = code == kConnected;
    Log(LogLevel::Info, "[LiveState] disponseStatus sender:%s %s info:%s", name.c_str(),
        code == kConnected ? "connect" : "disconnect", TextOf(data, len).c_str());
}

std::string TextOf(const unsigned char* data, std::size_t len) {
    return data ? std::string(reinterpret_cast<const char*>(data), len) : std::string();
}

}  // namespace Bas
