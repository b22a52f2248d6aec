#include "message_center/CenterWatch.h"

#include <utility>

#include "message_center/CMsgCenterFactory.h"
#include "message_center/CenterListener.h"
#include "platform/HostSink.h"
#include "platform/Kernel.h"
#include "platform/MsgCenterWatch.h"

namespace Bas {
namespace {

using QoPlayer::MsgCenterState;
using QoPlayer::MsgCenterWatch;

constexpr bool Same(CenterState told, MsgCenterState state) {
    return static_cast<int>(told) == static_cast<int>(state);
}
static_assert(Same(CenterState::Unknown, MsgCenterState::Unknown));
static_assert(Same(CenterState::Stopped, MsgCenterState::Stopped));
static_assert(Same(CenterState::Connecting, MsgCenterState::Connecting));
static_assert(Same(CenterState::Connected, MsgCenterState::Connected));
static_assert(Same(CenterState::Waiting, MsgCenterState::Waiting));
static_assert(Same(CenterState::Refused, MsgCenterState::Refused));
static_assert(Same(CenterState::TokenExpired, MsgCenterState::TokenExpired));

using StatusSink = HostSink<CenterStatusSink>;
StatusSink g_statusSink{nullptr};

// The calls of the host's sinks carry one number.
int Packed(bool main, MsgCenterState state) {
    return static_cast<int>(state) * 2 + (main ? 1 : 0);
}

void CallStatusSink(void* registration, int number, const char* reason) {
    const auto& sink = *static_cast<StatusSink::Registration*>(registration);
    sink.function(sink.user, number % 2, number / 2, reason);
}

void Tell(bool main, MsgCenterState state, const char* reason) {
    if (IsProcessEnding()) return;
    auto* const sink = g_statusSink.enter();
    if (!sink->function || HasLeftHostSink())
        sink->calls.fetch_sub(1);
    else
        DeliverLine({CallStatusSink, sink, Packed(main, state), &sink->calls}, reason);
}

void OnMainStatus(void* /*user*/, MsgCenterState state, const char* reason) {
    Tell(true, state, reason);
}

void OnBackupStatus(void* /*user*/, MsgCenterState state, const char* reason) {
    Tell(false, state, reason);
}

QoPlayer::MsgCenter* CenterToAsk(bool main) {
    return IsProcessEnding() ? nullptr : CMsgCenterFactory::Inst()->GetFactoryObj(main);
}

}  // namespace

void ListenTo(QoPlayer::MsgCenter& center, bool main) {
    MsgCenterWatch watch(center);
    watch.setName(main ? "main" : "backup");
    watch.setListener(main ? OnMainStatus : OnBackupStatus, nullptr);
}

CenterStatus GetCenterStatus(bool main) {
    QoPlayer::MsgCenter* const center = CenterToAsk(main);
    if (!center) return {};
    QoPlayer::MsgCenterStatus status = MsgCenterWatch(*center).status();
    return {static_cast<CenterState>(status.state), std::move(status.reason), status.sinceMs};
}

CenterCounters GetCenterCounters(bool main) {
    QoPlayer::MsgCenter* const center = CenterToAsk(main);
    if (!center) return {};
    const QoPlayer::MsgCenterCounters from = MsgCenterWatch(*center).counters();
    CenterCounters counters;
    counters.accepted = from.accepted;
    counters.published = from.published;
    counters.acknowledged = from.acknowledged;
    counters.refused = from.refused;
    counters.droppedUnusable = from.droppedUnusable;
    counters.droppedLate = from.droppedLate;
    counters.droppedAtReconnect = from.droppedAtReconnect;
    counters.droppedAtStop = from.droppedAtStop;
    counters.notAcceptedFull = from.notAcceptedFull;
    counters.notAcceptedUnconnected = from.notAcceptedUnconnected;
    counters.reconnects = from.reconnects;
    counters.waiting = from.waiting;
    counters.waitingRecords = from.waitingRecords;
    counters.oldestWaitingMs = from.oldestWaitingMs;
    return counters;
}

bool RenewAccessToken(const std::string& token, std::int64_t expireTime) {
    bool taken = false;
    for (const bool main : {true, false}) {
        QoPlayer::MsgCenter* const center = CenterToAsk(main);
        if (center && MsgCenterWatch(*center).renewAccessToken(token, expireTime)) taken = true;
    }
    return taken;
}

void SetCenterStatusSink(CenterStatusSink sink, void* user) {
    if (!IsProcessEnding()) g_statusSink.set(sink, user);
}

}  // namespace Bas
