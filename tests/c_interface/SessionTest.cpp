#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "c_interface/qolive_report.h"
#include "platform/Log.h"
#include "session/CLiveCommonInfo.h"
#include "session/QoUser.h"

namespace {

QoUser& User() {
    return *QoUser::GetInstance();
}

CLiveCommonInfo& Info() {
    return *CLiveCommonInfo::GetInstance();
}

template <class Getter>
std::string TextOf(Getter getter) {
    char buffer[64];
    std::size_t length = 0;
    EXPECT_EQ(getter(buffer, sizeof buffer, &length), QOLIVE_DONE);
    return {buffer, length};
}

template <class Number, class Getter>
Number NumberOf(Getter getter) {
    Number number{-77};
    EXPECT_EQ(getter(&number), QOLIVE_DONE);
    EXPECT_EQ(getter(nullptr), QOLIVE_NULL_ARGUMENT);
    return number;
}

void KeepLine(void* user, int level, const char* line) {
    static_cast<std::vector<std::string>*>(user)->push_back(std::to_string(level) + " " + line);
}

TEST(CInterfaceLog, SinkReceivesLinesUntilItIsReplaced) {
    std::vector<std::string> lines;
    EXPECT_EQ(qolive_set_log_sink(KeepLine, &lines), QOLIVE_DONE);
    Log(LogLevel::Error, "number %d", 7);
    EXPECT_EQ(qolive_set_log_sink(nullptr, nullptr), QOLIVE_DONE);
    Log(LogLevel::Info, "later");
    EXPECT_EQ(lines, std::vector<std::string>{"4 number 7"});
}

TEST(CInterfaceUser, LoginToken) {
    EXPECT_EQ(qolive_user_set_login_token("t1", 2), QOLIVE_DONE);
    EXPECT_EQ(User().GetLoginToken(), "t1");
    User().SetLoginToken("t2");
    EXPECT_EQ(TextOf(qolive_user_get_login_token), "t2");
}

TEST(CInterfaceUser, BreloId) {
    EXPECT_EQ(qolive_user_set_brelo_id("b1", 2), QOLIVE_DONE);
    EXPECT_EQ(User().GetBreloId(), "b1");
    User().SetBreloId("b2");
    EXPECT_EQ(TextOf(qolive_user_get_brelo_id), "b2");
}

TEST(CInterfaceUser, TagRoomTypeOfAnySign) {
    EXPECT_EQ(qolive_user_set_tag_room_type(-5), QOLIVE_DONE);
    EXPECT_EQ(User().GetTagRoomType(), -5);
    User().SetTagRoomType(INT32_MIN);
    EXPECT_EQ(NumberOf<std::int32_t>(qolive_user_get_tag_room_type), INT32_MIN);
}

TEST(CInterfaceLiveInfo, TalkLivingAndItsTimes) {
    EXPECT_EQ(qolive_live_info_is_talk_living(), 0);
    const std::int64_t before = std::time(nullptr);
    EXPECT_EQ(qolive_live_info_set_talk_living(-1, 7), QOLIVE_DONE);
    EXPECT_TRUE(Info().IsTalkLiving());
    EXPECT_EQ(qolive_live_info_is_talk_living(), 1);
    EXPECT_EQ(NumberOf<std::int32_t>(qolive_live_info_get_sdk_id), 7);
    EXPECT_GE(NumberOf<std::int64_t>(qolive_live_info_get_enter_talk_time), before);
    EXPECT_EQ(NumberOf<std::int64_t>(qolive_live_info_get_enter_talk_time), Info().GetEnterTalkTime());
    EXPECT_EQ(NumberOf<std::int64_t>(qolive_live_info_get_leave_talk_time), 0);
    EXPECT_EQ(qolive_live_info_set_talk_living(0, 8), QOLIVE_DONE);
    EXPECT_FALSE(Info().IsTalkLiving());
    EXPECT_EQ(Info().GetSdkId(), 8);
    EXPECT_GE(NumberOf<std::int64_t>(qolive_live_info_get_leave_talk_time), before);
    EXPECT_EQ(NumberOf<std::int64_t>(qolive_live_info_get_leave_talk_time), Info().GetLeaveTalkTime());
}

TEST(CInterfaceLiveInfo, MicType) {
    EXPECT_EQ(qolive_live_info_set_mic_type(3), QOLIVE_DONE);
    EXPECT_EQ(Info().GetMicType(), 3);
    Info().SetMicType(-4);
    EXPECT_EQ(NumberOf<std::int32_t>(qolive_live_info_get_mic_type), -4);
}

TEST(CInterfaceLiveInfo, MixModeAndClientMix) {
    EXPECT_EQ(qolive_live_info_get_is_client_mix(), 0);
    EXPECT_EQ(qolive_live_info_set_mix_mode(2), QOLIVE_DONE);
    EXPECT_EQ(Info().GetMixMode(), 2);
    EXPECT_EQ(qolive_live_info_get_is_client_mix(), 1);
    Info().SetMixMode(-2);
    EXPECT_EQ(NumberOf<std::int32_t>(qolive_live_info_get_mix_mode), -2);
    EXPECT_EQ(qolive_live_info_get_is_client_mix(), 0);
}

TEST(CInterfaceLiveInfo, LayoutType) {
    EXPECT_EQ(TextOf(qolive_live_info_get_layout_type), "none");
    EXPECT_EQ(qolive_live_info_set_layout_type("grid", 4), QOLIVE_DONE);
    EXPECT_EQ(Info().GetLayoutType(), "grid");
    Info().SetLayoutType("row");
    EXPECT_EQ(TextOf(qolive_live_info_get_layout_type), "row");
    EXPECT_EQ(qolive_live_info_set_layout_type(nullptr, 2), QOLIVE_NULL_ARGUMENT);
}

TEST(CInterfaceLiveInfo, SuperSharp) {
    EXPECT_EQ(qolive_live_info_get_super_sharp(), 0);
    EXPECT_EQ(qolive_live_info_set_super_sharp(5), QOLIVE_DONE);
    EXPECT_TRUE(Info().GetSuperSharp());
    EXPECT_EQ(qolive_live_info_get_super_sharp(), 1);
    EXPECT_EQ(qolive_live_info_set_super_sharp(0), QOLIVE_DONE);
    EXPECT_FALSE(Info().GetSuperSharp());
}

}  // namespace
