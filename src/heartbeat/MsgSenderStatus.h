#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "heartbeat/ReportPeriod.h"

namespace QoPlayer {
class MsgCenter;
class MsgSender;
}  // namespace QoPlayer

/// One sender of the heartbeat: opens it on its center, follows its connection, and holds what the heartbeat
/// needs to know about it.
///
/// The center's network thread calls OnSrvCb, which writes the two atomic flags and reads `m_name` and
/// `m_cmd` (fixed before the first callback). Everything else belongs to the owner, under the owner's lock.
/// The destructor closes the command's sender on the center, also when initSender got none because the
/// command was another's. It waits for a callback that is running, and none comes after it.
class MsgSenderStatus {
public:
    MsgSenderStatus();
    virtual ~MsgSenderStatus();
    MsgSenderStatus(const MsgSenderStatus&) = delete;
    MsgSenderStatus& operator=(const MsgSenderStatus&) = delete;

    /// Opens the sender of command `cmd`: on the backup center when `name` is "backSender", else on the main
    /// one. False, with one log line, when the center gives none. Called once; does not block.
    bool initSender(int cmd, const std::string& name);

    /// What the center calls; `user` is the MsgSenderStatus.
    static void OnSrvCb(void* user, int msgType, int code, const unsigned char* data, std::size_t len);

    /// Gives up the share in the center that initSender took. To be called when nobody sends any more and the
    /// sender stays as it is: a center that no one else shares ends its connection here, in 1 s at most.
    void letCenterGo();

    /// Data from the server: a JSON object whose "type" is 3 asks for a full report, everything else is
    /// ignored.
    void disponseData(const unsigned char* data, std::size_t len);

    QoPlayer::MsgCenter* m_msgCenter = nullptr;
    QoPlayer::MsgSender* m_senderPtr = nullptr;
    std::atomic<bool> m_bDataChanged{false};                       ///< the next report is a full one
    std::int64_t m_lastReportTm = live_heartbeat::kNeverReported;  ///< last attempt, ms since 1970-01-01 UTC
    std::int32_t m_reportInterval = 3000;                          ///< ms
    std::atomic<bool> m_bConnected{false};
    std::int32_t m_cmd = 0;
    std::string m_name = "unknown";

private:
    void disponseStatus(int code, const unsigned char* data, std::size_t len);

    // At process exit the factory may go while the heartbeat thread still sends.
    std::shared_ptr<QoPlayer::MsgCenter> m_centerKeptAlive;
};
