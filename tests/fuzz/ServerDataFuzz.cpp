#include "fuzz/FuzzTarget.h"
#include "heartbeat/MsgSenderStatus.h"

// Any notice from a server: the first two bytes choose the message type and the code, the rest is the data.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    fuzz::SilenceLog();
    const int msgType = static_cast<std::int8_t>(data[0]);
    const int code = static_cast<std::int8_t>(data[1]);
    MsgSenderStatus status;
    MsgSenderStatus::OnSrvCb(&status, msgType, code, data + 2, size - 2);
    fuzz::Require(status.m_bConnected == (msgType == 0 && code == 1));
    fuzz::Require(msgType == 0 || msgType == 1 || !status.m_bDataChanged);
    return 0;
}
