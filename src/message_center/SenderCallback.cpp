#include "message_center/SenderCallback.h"

#include "platform/Log.h"
#include "platform/MsgCenter.h"

namespace Bas {
namespace {

constexpr int kFirstNotice = 2;
constexpr int kLastNotice = 3;

}  // namespace

CallbackKind ReadCallback(const std::string& name, int cmd, int msgType, int code, std::size_t len) {
    Log(LogLevel::Info, "[LiveState] OnSrvCb sender:%s cmd:%d msgType:%d code:%d len:%d", name.c_str(), cmd,
        msgType, code, static_cast<int>(len));
    if (msgType == QoPlayer::kStatusMessage) return CallbackKind::Status;
    if (msgType == QoPlayer::kDataMessage) return CallbackKind::Data;
    if (msgType < kFirstNotice || msgType > kLastNotice) Log(LogLevel::Info, "[LiveState] OnSrvCb error");
    return CallbackKind::Ignored;
}

void FollowConnection(std::atomic<bool>& connected, const std::string& name, int code,
                      const unsigned char* data, std::size_t len) {
    if (code != QoPlayer::kConnectedCode && code != QoPlayer::kDisconnectedCode) return;
    connected = code == QoPlayer::kConnectedCode;
    Log(LogLevel::Info, "[LiveState] disponseStatus sender:%s %s info:%s", name.c_str(),
        connected ? "connect" : "disconnect", TextOf(data, len).c_str());
}

std::string TextOf(const unsigned char* data, std::size_t len) {
    return data ? std::string(reinterpret_cast<const char*>(data), len) : std::string();
}

}  // namespace Bas
