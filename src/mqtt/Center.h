#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "base/Sync.h"
#include "mqtt/Link.h"
#include "platform/MsgCenter.h"
#include "platform/MsgCenterWatch.h"

namespace QoPlayer {
namespace mqtt {

/// A message center: the calls of the host's threads on one side, the network thread on the other.
class Center {
public:
    /// Its network thread waits with `waiter`, if there is one.
    explicit Center(std::shared_ptr<SocketWaiter> waiter = nullptr) : m_state(std::move(waiter)) {}
    ~Center();
    Center(const Center&) = delete;
    Center& operator=(const Center&) = delete;

    // As the operations of MsgCenterWatch.
    void setName(const std::string& name) { m_state.log.setName(name); }
    void setOptions(const MsgCenterOptions& options) { m_options = options; }
    void setListener(MsgCenterWatch::Listener listener, void* user) {
        m_state.status.setListener(listener, user);
    }
    MsgCenterStatus status() const { return m_state.status.get(); }
    MsgCenterCounters counters();
    bool renewAccessToken(const std::string& token, std::int64_t expirySeconds);

    bool start(const MsgCenterConfig& config);
    void stop();
    MsgSender* createSender(int cmd, MsgSenderCallback callback, void* user);
    void closeSender(int cmd);

    /// As MsgSender::send of the sender that `cmd` has now.
    bool send(int cmd, const std::uint8_t* data, std::size_t length, const std::uint8_t* head,
              int headLength);

private:
    /// Readies the libraries below before anything else of a center exists.
    struct Libraries {
        Libraries();
    };

    bool cannotStart(const std::string& why);
    bool startThread(Settings settings);

    Libraries m_libraries;
    MsgCenterOptions m_options;
    CenterState m_state;
    std::atomic<std::uint64_t> m_sentUnconnected{0};
    std::shared_ptr<std::thread> m_thread;
    std::atomic<std::thread::id> m_threadId{};

    // What hosts hold, of every command that has ever been opened: it outlives the closing of its sender.
    qolive::Mutex m_ownedMutex;
    std::map<int, std::unique_ptr<MsgSender>> m_owned QOLIVE_GUARDED_BY(m_ownedMutex);
};

}  // namespace mqtt
}  // namespace QoPlayer
