#pragma once

#include <memory>

#include "base/DropNotice.h"
#include "base/Sync.h"
#include "heartbeat/LiveHeartReport.h"
#include "heartbeat/PauseHandshake.h"
#include "platform/KernelLocks.h"

/// What a heartbeat has beside the members that derived classes may use.
struct LiveHeartReport::Impl {
    struct OwnThread;

    /// Makes a sender for the empty `slot`, where it stays whether it could be opened or not.
    static bool Open(LiveHeartReport& heartbeat, MsgSenderStatus*& slot, int cmd, const char* name)
        QOLIVE_REQUIRES(*heartbeat.m_lock);
    static void Delete(LiveHeartReport& heartbeat, MsgSenderStatus*& slot) QOLIVE_REQUIRES(*heartbeat.m_lock);
    static void Place(LiveHeartReport& heartbeat, MsgSenderStatus*& slot, MsgSenderStatus* sender)
        QOLIVE_REQUIRES(*heartbeat.m_lock);

    /// Both reports and the oldest command; true when that was sent.
    static bool Pass(LiveHeartReport& heartbeat);

    /// Writes a field of the state, and marks if that is a change.
    static void Change(LiveHeartReport& heartbeat, std::int32_t LiveHeartReportData::*field,
                       std::int32_t value);

    qolive::DropNotice droppedCommands;  // used with m_lock held
    qolive::Mutex slotLock;              // taken after m_lock
    qolive::CriticalSection stopLock;    // taken before m_lock
    const std::shared_ptr<live_heartbeat::PauseHandshake> pause =
        std::make_shared<live_heartbeat::PauseHandshake>();
};
