#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "base/Sync.h"
#include "mqtt/CenterState.h"
#include "mqtt/Settings.h"
#include "platform/MsgCenter.h"
#include "platform/MsgCenterOptions.h"

namespace QoPlayer {

/// A message center: the calls of the host's threads on one side, the network thread on the other.
struct MsgCenter::Impl {
    /// Its network thread waits with `waiter`, if there is one.
    explicit Impl(std::shared_ptr<mqtt::SocketWaiter> waiter = nullptr) : state(std::move(waiter)) {}

    bool startThread(mqtt::Settings settings);
    bool cannotStart(const std::string& why);

    /// Readies the libraries below before anything else of a center exists.
    struct Libraries {
        Libraries();
    };

    Libraries libraries;
    MsgCenterOptions options;
    mqtt::CenterState state;
    std::shared_ptr<std::thread> thread;
    std::atomic<std::thread::id> threadId{};

    // What hosts hold, of every command that has ever been opened: it outlives the closing of its sender.
    qolive::Mutex ownedMutex;
    std::map<int, std::unique_ptr<MsgSender>> owned QOLIVE_GUARDED_BY(ownedMutex);
};

}  // namespace QoPlayer
