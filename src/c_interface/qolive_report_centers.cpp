#include "c_interface/CallGuard.h"
#include "c_interface/qolive_report.h"
#include "message_center/CMsgCenterFactory.h"
#include "message_center/HeartBaseConfig.h"

using namespace c_interface;

namespace {

Bas::HeartBaseConfig toHeartBaseConfig(const qolive_heart_base_config* given) {
    require(given);
    requireSize(given->size, sizeof *given);
    Bas::HeartBaseConfig base;
    base.intValue1 = given->int_value1;
    base.intValue2 = given->int_value2;
    base.int64Value1 = given->int64_value1;
    base.int64Value2 = given->int64_value2;
    base.textValue1 = toText(given->text_value1);
    base.textValue2 = toText(given->text_value2);
    return base;
}

}  // namespace

int32_t qolive_centers_start(const char* config, size_t config_length,
                             const qolive_heart_base_config* base) noexcept {
    return guarded([=] {
        return Bas::CMsgCenterFactory::Inst()->Start(toText(config, config_length), toHeartBaseConfig(base));
    });
}

int32_t qolive_centers_stop(void) noexcept {
    return done([] { Bas::CMsgCenterFactory::Inst()->Stop(); });
}

int32_t qolive_centers_is_have_backup(void) noexcept {
    return guarded([] { return Bas::CMsgCenterFactory::Inst()->IsHaveBKCenter(); });
}

int32_t qolive_centers_is_main_start_ok(void) noexcept {
    return guarded([] { return Bas::CMsgCenterFactory::Inst()->IsMainCenterStartOK(); });
}

int32_t qolive_centers_get(int32_t main_center, qolive_message_center** center) noexcept {
    return done([=] {
        require(center);
        QoPlayer::MsgCenter* const found = Bas::CMsgCenterFactory::Inst()->GetFactoryObj(main_center != 0);
        *center = reinterpret_cast<qolive_message_center*>(found);
    });
}
