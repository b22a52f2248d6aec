#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "c_interface/qolive_report.h"
#include "fakes/FakeMsgCenter.h"
#include "message_center/CMsgCenterFactory.h"

namespace {

using Bas::CMsgCenterFactory;
using fakes::FakeMsgCenter;

constexpr char kServers[] =
    R"({"gatewayDns":{"main":["m:1"],"backup":["b:2"]},"accessToken":"secret","expireTime":9})";

qolive_text TextOf(const char* text, std::size_t length) {
    return {text, length};
}

qolive_heart_base_config BaseConfig() {
    qolive_heart_base_config base{};
    base.size = sizeof base;
    return base;
}

std::int32_t Start(const std::string& config, const qolive_heart_base_config* base) {
    return qolive_centers_start(config.data(), config.size(), base);
}

TEST(CInterfaceCenters, StartHandsEveryValueOver) {
    qolive_heart_base_config base = BaseConfig();
    base.int_value1 = -1;
    base.int_value2 = 2;
    base.int64_value1 = INT64_MIN;
    base.int64_value2 = 4;
    base.text_value1 = TextOf("client", 6);
    base.text_value2 = TextOf("ca\0x", 4);
    EXPECT_EQ(Start(kServers, &base), 1);

    const fakes::StartedWith given = FakeMsgCenter::main().starts().at(0);
    EXPECT_EQ(given.addrs.at(0).ip, "m");
    EXPECT_EQ(given.intValue1, -1);
    EXPECT_EQ(given.intValue2, 2);
    EXPECT_EQ(given.int64Value1, INT64_MIN);
    EXPECT_EQ(given.int64Value2, 4);
    EXPECT_EQ(given.textValue1, "client");
    EXPECT_EQ(given.textValue2, std::string("ca\0x", 4));
    EXPECT_EQ(given.accessToken, "secret");
    EXPECT_EQ(given.expireTime, 9);
    EXPECT_EQ(FakeMsgCenter::backup().starts().at(0).addrs.at(0).ip, "b");
}

TEST(CInterfaceCenters, StartGivesTheFactorysResults) {
    const qolive_heart_base_config base = BaseConfig();
    EXPECT_EQ(Start("", &base), 0);
    EXPECT_EQ(Start("not JSON", &base), 0);
    EXPECT_EQ(Start(kServers, &base), 1);
    EXPECT_EQ(Start(kServers, &base), 2);
}

TEST(CInterfaceCenters, StartRefusesWhatItCannotRead) {
    qolive_heart_base_config base = BaseConfig();
    EXPECT_EQ(Start(kServers, nullptr), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(qolive_centers_start(nullptr, 1, &base), QOLIVE_NULL_ARGUMENT);
    base.text_value2 = TextOf(nullptr, 1);
    EXPECT_EQ(Start(kServers, &base), QOLIVE_NULL_ARGUMENT);
    base = BaseConfig();
    base.size = sizeof base - 1;
    EXPECT_EQ(Start(kServers, &base), QOLIVE_BAD_SIZE);
    EXPECT_FALSE(CMsgCenterFactory::Inst()->IsMainCenterStartOK());
}

TEST(CInterfaceCenters, StartReadsTheKnownPartOfALargerStructure) {
    struct {
        qolive_heart_base_config known;
        std::int64_t later;
    } larger{BaseConfig(), 1};
    larger.known.size = sizeof larger;
    EXPECT_EQ(Start(kServers, &larger.known), 1);
}

TEST(CInterfaceCenters, StopStopsBoth) {
    const qolive_heart_base_config base = BaseConfig();
    Start(kServers, &base);
    EXPECT_EQ(qolive_centers_stop(), QOLIVE_DONE);
    EXPECT_EQ(FakeMsgCenter::main().stops(), 1);
    EXPECT_EQ(FakeMsgCenter::backup().stops(), 1);
}

TEST(CInterfaceCenters, TellsWhichCentersAreStarted) {
    const qolive_heart_base_config base = BaseConfig();
    EXPECT_EQ(qolive_centers_is_main_start_ok(), 0);
    EXPECT_EQ(qolive_centers_is_have_backup(), 0);
    FakeMsgCenter::backup().startFails();
    Start(kServers, &base);
    EXPECT_EQ(qolive_centers_is_main_start_ok(), 1);
    EXPECT_EQ(qolive_centers_is_have_backup(), 0);
    qolive_centers_stop();
    FakeMsgCenter::backup().startFails(false);
    Start(kServers, &base);
    EXPECT_EQ(qolive_centers_is_have_backup(), 1);
}

TEST(CInterfaceCenters, GivesTheFactorysCenters) {
    qolive_message_center* main = nullptr;
    qolive_message_center* backup = nullptr;
    EXPECT_EQ(qolive_centers_get(3, &main), QOLIVE_DONE);
    EXPECT_EQ(qolive_centers_get(0, &backup), QOLIVE_DONE);
    EXPECT_EQ(static_cast<void*>(main), CMsgCenterFactory::Inst()->GetFactoryObj(true));
    EXPECT_EQ(static_cast<void*>(backup), CMsgCenterFactory::Inst()->GetFactoryObj(false));
    EXPECT_EQ(qolive_centers_get(1, nullptr), QOLIVE_NULL_ARGUMENT);
}

TEST(CInterfaceCenters, GivesStatusAndReasonOfEach) {
    CMsgCenterFactory::Inst();
    FakeMsgCenter::main().status({QoPlayer::MsgCenterState::Waiting, "cannot connect", 1234567890123});
    FakeMsgCenter::backup().status({QoPlayer::MsgCenterState::Connected, "connected", 2});
    char reason[14];
    qolive_center_status status{sizeof status, {reason, sizeof reason, 0}, 0, 0};
    EXPECT_EQ(qolive_centers_get_status(1, &status), QOLIVE_DONE);
    EXPECT_EQ(status.state, QOLIVE_CENTER_WAITING);
    EXPECT_EQ(status.since_ms, 1234567890123);
    EXPECT_EQ(std::string(reason, status.reason.length), "cannot connect");
    EXPECT_EQ(qolive_centers_get_status(0, &status), QOLIVE_DONE);
    EXPECT_EQ(status.state, QOLIVE_CENTER_CONNECTED);
    EXPECT_EQ(std::string(reason, status.reason.length), "connected");

    status.reason.capacity = 13;
    EXPECT_EQ(qolive_centers_get_status(1, &status), QOLIVE_TOO_SMALL);
    EXPECT_EQ(status.state, QOLIVE_CENTER_WAITING);
    EXPECT_EQ(status.reason.length, 14u);
    status.reason.data = nullptr;
    EXPECT_EQ(qolive_centers_get_status(1, &status), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(qolive_centers_get_status(1, nullptr), QOLIVE_NULL_ARGUMENT);
    status.size = sizeof status - 1;
    EXPECT_EQ(qolive_centers_get_status(1, &status), QOLIVE_BAD_SIZE);
}

TEST(CInterfaceCenters, GivesEveryCounter) {
    CMsgCenterFactory::Inst();
    FakeMsgCenter::backup().counters({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14});
    qolive_center_counters counters{};
    counters.size = sizeof counters;
    EXPECT_EQ(qolive_centers_get_counters(0, &counters), QOLIVE_DONE);
    EXPECT_EQ(counters.accepted, 1u);
    EXPECT_EQ(counters.published, 2u);
    EXPECT_EQ(counters.acknowledged, 3u);
    EXPECT_EQ(counters.refused, 4u);
    EXPECT_EQ(counters.dropped_unusable, 5u);
    EXPECT_EQ(counters.dropped_late, 6u);
    EXPECT_EQ(counters.dropped_at_reconnect, 7u);
    EXPECT_EQ(counters.dropped_at_stop, 8u);
    EXPECT_EQ(counters.not_accepted_full, 9u);
    EXPECT_EQ(counters.not_accepted_unconnected, 10u);
    EXPECT_EQ(counters.reconnects, 11u);
    EXPECT_EQ(counters.waiting, 12u);
    EXPECT_EQ(counters.waiting_records, 13u);
    EXPECT_EQ(counters.oldest_waiting_ms, 14);
    EXPECT_EQ(qolive_centers_get_counters(1, &counters), QOLIVE_DONE);
    EXPECT_EQ(counters.accepted, 0u);
    counters.size = sizeof counters - 1;
    EXPECT_EQ(qolive_centers_get_counters(1, &counters), QOLIVE_BAD_SIZE);
    EXPECT_EQ(qolive_centers_get_counters(1, nullptr), QOLIVE_NULL_ARGUMENT);
}

TEST(CInterfaceCenters, RenewsTheAccessToken) {
    CMsgCenterFactory::Inst();
    EXPECT_EQ(qolive_centers_renew_access_token("fre\0sh", 6, 17), 1);
    EXPECT_EQ(FakeMsgCenter::main().renewals().at(0).first, std::string("fre\0sh", 6));
    EXPECT_EQ(FakeMsgCenter::backup().renewals().at(0).second, 17);
    FakeMsgCenter::main().renewFails();
    FakeMsgCenter::backup().renewFails();
    EXPECT_EQ(qolive_centers_renew_access_token("x", 1, 0), 0);
    EXPECT_EQ(qolive_centers_renew_access_token(nullptr, 1, 0), QOLIVE_NULL_ARGUMENT);
}

TEST(CInterfaceCenters, TheStatusSinkHearsOfBothUntilItIsTakenAway) {
    CMsgCenterFactory::Inst();
    std::string heard;
    const auto sink = [](void* user, int mainCenter, int state, const char* reason) {
        *static_cast<std::string*>(user) +=
            std::to_string(mainCenter) + " " + std::to_string(state) + " " + reason + "\n";
    };
    EXPECT_EQ(qolive_centers_set_status_sink(sink, &heard), QOLIVE_DONE);
    FakeMsgCenter::main().tell(QoPlayer::MsgCenterState::Connected, "a");
    FakeMsgCenter::backup().tell(QoPlayer::MsgCenterState::TokenExpired, "b");
    EXPECT_EQ(qolive_centers_set_status_sink(nullptr, nullptr), QOLIVE_DONE);
    FakeMsgCenter::main().tell(QoPlayer::MsgCenterState::Stopped, "c");
    EXPECT_EQ(heard, "1 3 a\n0 6 b\n");
}

}  // namespace
