#include "c_interface/CallGuard.h"
#include "c_interface/qolive_report.h"
#include "message_center/CMsgCenterFactory.h"
#include "message_center/CenterWatch.h"
#include "message_center/HeartBaseConfig.h"

using namespace c_interface;

namespace {

Bas::HeartBaseConfig ToHeartBaseConfig(const qolive_heart_base_config* given) {
    Require(given);
    RequireSize(given->size, sizeof *given);
    Bas::HeartBaseConfig base;
    base.intValue1 = given->int_value1;
    base.intValue2 = given->int_value2;
    base.int64Value1 = given->int64_value1;
    base.int64Value2 = given->int64_value2;
    base.textValue1 = ToText(given->text_value1);
    base.textValue2 = ToText(given->text_value2);
    return base;
}

void WriteCounters(const Bas::CenterCounters& from, qolive_center_counters& to) {
    to.accepted = from.accepted;
    to.published = from.published;
    to.acknowledged = from.acknowledged;
    to.refused = from.refused;
    to.dropped_unusable = from.droppedUnusable;
    to.dropped_late = from.droppedLate;
    to.dropped_at_reconnect = from.droppedAtReconnect;
    to.dropped_at_stop = from.droppedAtStop;
    to.not_accepted_full = from.notAcceptedFull;
    to.not_accepted_unconnected = from.notAcceptedUnconnected;
    to.reconnects = from.reconnects;
    to.waiting = from.waiting;
    to.waiting_records = from.waitingRecords;
    to.oldest_waiting_ms = from.oldestWaitingMs;
}

}  // namespace

int32_t qolive_centers_start(const char* config, size_t config_length,
                             const qolive_heart_base_config* base) noexcept {
    return Guarded([=] {
        return Bas::CMsgCenterFactory::Inst()->Start(ToText(config, config_length), ToHeartBaseConfig(base));
    });
}

int32_t qolive_centers_stop(void) noexcept {
    return Done([] { Bas::CMsgCenterFactory::Inst()->Stop(); });
}

int32_t qolive_centers_is_have_backup(void) noexcept {
    return Guarded([] { return Bas::CMsgCenterFactory::Inst()->IsHaveBKCenter(); });
}

int32_t qolive_centers_is_main_start_ok(void) noexcept {
    return Guarded([] { return Bas::CMsgCenterFactory::Inst()->IsMainCenterStartOK(); });
}

int32_t qolive_centers_get_status(int32_t main_center, qolive_center_status* status) noexcept {
    return Guarded([=] {
        Require(status);
        RequireSize(status->size, sizeof *status);
        RequireBuffer(status->reason);
        const Bas::CenterStatus told = Bas::GetCenterStatus(main_center != 0);
        status->state = static_cast<std::int32_t>(told.state);
        status->since_ms = told.sinceMs;
        return WriteText(told.reason, status->reason);
    });
}

int32_t qolive_centers_get_counters(int32_t main_center, qolive_center_counters* counters) noexcept {
    return Done([=] {
        Require(counters);
        RequireSize(counters->size, sizeof *counters);
        WriteCounters(Bas::GetCenterCounters(main_center != 0), *counters);
    });
}

int32_t qolive_centers_set_status_sink(qolive_center_status_sink sink, void* user) noexcept {
    return Done([=] { Bas::SetCenterStatusSink(sink, user); });
}

int32_t qolive_centers_renew_access_token(const char* token, size_t token_length,
                                          int64_t expire_time) noexcept {
    return Guarded([=] { return Bas::RenewAccessToken(ToText(token, token_length), expire_time); });
}

int32_t qolive_centers_get(int32_t main_center, qolive_message_center** center) noexcept {
    return Done([=] {
        Require(center);
        QoPlayer::MsgCenter* const found = Bas::CMsgCenterFactory::Inst()->GetFactoryObj(main_center != 0);
        *center = reinterpret_cast<qolive_message_center*>(found);
    });
}
