#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/MsgCenter.h"
#include "platform/MsgCenterOptions.h"
#include "platform/MsgCenterWatch.h"

// A scripted message center: takes the place of the real one, records what it was asked to do and calls back
// when the test says so. Everything may be called from any thread.

namespace fakes {

struct SentMessage {
    std::string body;
    bool hasHead = false;
    std::string head;
};

struct StartedWith {
    std::vector<QoPlayer::MsgCenterAddr> addrs;
    bool addrsWasNull = true;
    std::int32_t intValue1 = 0;
    std::int32_t intValue2 = 0;
    std::int64_t int64Value1 = 0;
    std::int64_t int64Value2 = 0;
    std::string textValue1;
    std::string textValue2;
    std::string accessToken;
    std::int64_t expireTime = 0;
    QoPlayer::MsgCenterOptions options;
};

/// The centers of the process by their order of construction: the factory makes the main one first (0), then
/// the backup (1).
class FakeMsgCenter {
public:
    static FakeMsgCenter main() { return FakeMsgCenter(0); }
    static FakeMsgCenter backup() { return FakeMsgCenter(1); }
    static int centersMade();
    static int centersMadeBeforeTheLogSink();  ///< while no sink was installed with SetLogPtr
    static int centersDestroyed();

    std::string name() const;

    /// What has happened to both centers since the last call, in order: "main start", "backup stop", "main
    /// open 2", "backup close 2", "main destroyed".
    static std::vector<std::string> events();

    void status(const QoPlayer::MsgCenterStatus& status);
    void counters(const QoPlayer::MsgCenterCounters& counters);

    /// The tokens that it was given after its start; it takes none while `renewFails`.
    std::vector<std::pair<std::string, std::int64_t>> renewals() const;
    void renewFails(bool fails = true);

    /// Tells the listener of the center on the calling thread, without a lock.
    void tell(QoPlayer::MsgCenterState state, const std::string& reason) const;

    std::vector<StartedWith> starts() const;
    int stops() const;
    void startFails(bool fails = true);
    void startThrows(bool throws = true);
    void takesNoOptions();  ///< as a message-center library without them
    void createSenderFails(bool fails = true);

    bool hasSender(int cmd) const;
    int sendersCreated(int cmd) const;  ///< calls of createSender for `cmd`, failed ones too
    int sendersClosed(int cmd) const;   ///< calls of closeSender for `cmd`
    void sendFails(int cmd, bool fails = true);
    void sendThrows(int cmd, int times);           ///< std::bad_alloc, the next `times` times
    std::vector<SentMessage> sent(int cmd) const;  ///< accepted by the sender of `cmd`, in order
    int sendAttempts(int cmd) const;
    void forgetSent(int cmd);

    /// Calls the callback of the sender of `cmd` on the calling thread, without a lock. False when there is
    /// none.
    bool callback(int cmd, int msgType, int code, const std::string& data) const;
    bool connect(int cmd) const { return callback(cmd, 0, 1, "up"); }
    bool disconnect(int cmd) const { return callback(cmd, 0, 0, "down"); }
    bool serverData(int cmd, const std::string& data) const { return callback(cmd, 1, 0, data); }

private:
    explicit FakeMsgCenter(int index) : m_index(index) {}
    int m_index;
};

/// The sink that was installed with SetLogPtr; null when none was.
using SdkLogSink = void (*)(int level, const char* text1, const char* text2);
SdkLogSink CurrentSdkLogSink();

}  // namespace fakes
