#include "c_interface/CallGuard.h"
#include "c_interface/qolive_report.h"
#include "platform/Log.h"
#include "session/CLiveCommonInfo.h"
#include "session/QoUser.h"

using namespace c_interface;

uint32_t qolive_version(void) noexcept {
    return QOLIVE_REPORT_VERSION;
}

const char* qolive_version_text(void) noexcept {
    return QOLIVE_REPORT_VERSION_TEXT;
}

int32_t qolive_set_log_sink(qolive_log_sink sink, void* user) noexcept {
    return Done([=] { SetLogSink(sink, user); });
}

int32_t qolive_user_set_login_token(const char* token, size_t token_length) noexcept {
    return Done([=] { QoUser::GetInstance()->SetLoginToken(ToText(token, token_length)); });
}

int32_t qolive_user_get_login_token(char* buffer, size_t capacity, size_t* length) noexcept {
    return Guarded(
        [=] { return WriteText(QoUser::GetInstance()->GetLoginToken(), buffer, capacity, length); });
}

int32_t qolive_user_set_brelo_id(const char* id, size_t id_length) noexcept {
    return Done([=] { QoUser::GetInstance()->SetBreloId(ToText(id, id_length)); });
}

int32_t qolive_user_get_brelo_id(char* buffer, size_t capacity, size_t* length) noexcept {
    return Guarded([=] { return WriteText(QoUser::GetInstance()->GetBreloId(), buffer, capacity, length); });
}

int32_t qolive_user_set_tag_room_type(int32_t type) noexcept {
    return Done([=] { QoUser::GetInstance()->SetTagRoomType(type); });
}

int32_t qolive_user_get_tag_room_type(int32_t* type) noexcept {
    return WriteNumber(type, [] { return QoUser::GetInstance()->GetTagRoomType(); });
}

int32_t qolive_live_info_set_talk_living(int32_t living, int32_t sdk_id) noexcept {
    return Done([=] { CLiveCommonInfo::GetInstance()->SetTalkLiving(living != 0, sdk_id); });
}

int32_t qolive_live_info_is_talk_living(void) noexcept {
    return Guarded([] { return CLiveCommonInfo::GetInstance()->IsTalkLiving(); });
}

int32_t qolive_live_info_get_enter_talk_time(int64_t* seconds) noexcept {
    return WriteNumber(seconds, [] { return CLiveCommonInfo::GetInstance()->GetEnterTalkTime(); });
}

int32_t qolive_live_info_get_leave_talk_time(int64_t* seconds) noexcept {
    return WriteNumber(seconds, [] { return CLiveCommonInfo::GetInstance()->GetLeaveTalkTime(); });
}

int32_t qolive_live_info_get_sdk_id(int32_t* sdk_id) noexcept {
    return WriteNumber(sdk_id, [] { return CLiveCommonInfo::GetInstance()->GetSdkId(); });
}

int32_t qolive_live_info_set_mic_type(int32_t type) noexcept {
    return Done([=] { CLiveCommonInfo::GetInstance()->SetMicType(type); });
}

int32_t qolive_live_info_get_mic_type(int32_t* type) noexcept {
    return WriteNumber(type, [] { return CLiveCommonInfo::GetInstance()->GetMicType(); });
}

int32_t qolive_live_info_set_mix_mode(int32_t mode) noexcept {
    return Done([=] { CLiveCommonInfo::GetInstance()->SetMixMode(mode); });
}

int32_t qolive_live_info_get_mix_mode(int32_t* mode) noexcept {
    return WriteNumber(mode, [] { return CLiveCommonInfo::GetInstance()->GetMixMode(); });
}

int32_t qolive_live_info_get_is_client_mix(void) noexcept {
    return Guarded([] { return CLiveCommonInfo::GetInstance()->GetIsClientMix(); });
}

int32_t qolive_live_info_set_layout_type(const char* layout, size_t layout_length) noexcept {
    return Done([=] { CLiveCommonInfo::GetInstance()->SetLayoutType(ToText(layout, layout_length)); });
}

int32_t qolive_live_info_get_layout_type(char* buffer, size_t capacity, size_t* length) noexcept {
    return Guarded(
        [=] { return WriteText(CLiveCommonInfo::GetInstance()->GetLayoutType(), buffer, capacity, length); });
}

int32_t qolive_live_info_set_super_sharp(int32_t on) noexcept {
    return Done([=] { CLiveCommonInfo::GetInstance()->SetSuperSharp(on != 0); });
}

int32_t qolive_live_info_get_super_sharp(void) noexcept {
    return Guarded([] { return CLiveCommonInfo::GetInstance()->GetSuperSharp(); });
}
