#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "c_interface/qolive_report.h"
#include "fakes/FakeMsgCenter.h"
#include "heartbeat/LiveHeartReport.h"
#include "heartbeat/LiveHeartReportData.h"

namespace {

using fakes::FakeMsgCenter;

constexpr int kHeartbeat = 2;
constexpr int kCommands = 4;
constexpr char kServers[] = R"({"gatewayDns":{"main":["m:1"],"backup":["b:2"]}})";

LiveHeartReport& Heartbeat() {
    return *LiveHeartReport::GetInstance();
}

LiveHeartReportData State() {
    return Heartbeat().GetLiveHeartReportData();
}

void StartCenters() {
    qolive_heart_base_config base{};
    base.size = sizeof base;
    ASSERT_EQ(qolive_centers_start(kServers, std::strlen(kServers), &base), 1);
}

/// Whether the next report of the main sender is a full one, as the final report of `stop` shows.
bool NextReportIsFull() {
    FakeMsgCenter::main().forgetSent(kHeartbeat);
    Heartbeat().stop();
    const auto sent = FakeMsgCenter::main().sent(kHeartbeat);
    return sent.at(sent.size() - 1).body.find(R"("type":1)") != std::string::npos;
}

struct CInterfaceHeartbeat : testing::Test {
    ~CInterfaceHeartbeat() override { Heartbeat().stop(); }
};

TEST_F(CInterfaceHeartbeat, UpdateLiveStatus) {
    EXPECT_EQ(qolive_heartbeat_update_live_status(-1), QOLIVE_DONE);
    EXPECT_EQ(State().liveStatus, 1);
    EXPECT_EQ(qolive_heartbeat_update_live_status(0), QOLIVE_DONE);
    EXPECT_EQ(State().liveStatus, 2);
}

TEST_F(CInterfaceHeartbeat, UpdateMicStatus) {
    EXPECT_EQ(qolive_heartbeat_update_mic_status(1), QOLIVE_DONE);
    EXPECT_EQ(State().micStatus, 1);
    EXPECT_EQ(qolive_heartbeat_update_mic_status(0), QOLIVE_DONE);
    EXPECT_EQ(State().micStatus, 2);
}

TEST_F(CInterfaceHeartbeat, UpdatePushStatuses) {
    EXPECT_EQ(qolive_heartbeat_update_push_status(11), QOLIVE_DONE);
    EXPECT_EQ(qolive_heartbeat_update_mic_push_status(12), QOLIVE_DONE);
    EXPECT_EQ(qolive_heartbeat_update_mix_stream_status(13), QOLIVE_DONE);
    EXPECT_EQ(State().pushStatus, 11);
    EXPECT_EQ(State().micPushStatus, 12);
    EXPECT_EQ(State().mixStatus, 13);
}

TEST_F(CInterfaceHeartbeat, UpdateLiveIdAndGetSessionId) {
    EXPECT_EQ(qolive_heartbeat_update_live_id("live-1", 6), QOLIVE_DONE);
    EXPECT_EQ(Heartbeat().getSessionId(), "live-1");
    EXPECT_EQ(qolive_heartbeat_update_live_id(nullptr, 6), QOLIVE_NULL_ARGUMENT);
    char buffer[8];
    std::size_t length = 0;
    EXPECT_EQ(qolive_heartbeat_get_session_id(buffer, 5, &length), QOLIVE_TOO_SMALL);
    EXPECT_EQ(qolive_heartbeat_get_session_id(buffer, sizeof buffer, &length), QOLIVE_DONE);
    EXPECT_EQ(std::string(buffer, length), "live-1");
}

TEST_F(CInterfaceHeartbeat, UpdateLiveBusinessInfo) {
    EXPECT_EQ(qolive_heartbeat_update_live_business_info(1, -2), QOLIVE_DONE);
    EXPECT_EQ(State().videoAppId, 1);
    EXPECT_EQ(State().business, -2);
}

TEST_F(CInterfaceHeartbeat, UpdateLiveStreamInfo) {
    EXPECT_EQ(qolive_heartbeat_update_live_stream_info("s", 1, 2, 3, 4, 5), QOLIVE_DONE);
    const LiveHeartReportData now = State();
    EXPECT_EQ(now.streamName, "s");
    EXPECT_EQ(now.sid, 2);
    EXPECT_EQ(now.width, 3);
    EXPECT_EQ(now.height, 4);
    EXPECT_EQ(now.codec, 5);
    EXPECT_EQ(now.pushStatus, 2);
    EXPECT_EQ(qolive_heartbeat_update_live_stream_info(nullptr, 1, 2, 3, 4, 5), QOLIVE_NULL_ARGUMENT);
}

TEST_F(CInterfaceHeartbeat, UpdateMicInfo) {
    EXPECT_EQ(qolive_heartbeat_update_mic_info(1, 2, "mic", 3, 4, 5, 6, 7, 8, "channel", 7, 9), QOLIVE_DONE);
    const LiveHeartReportData now = State();
    EXPECT_EQ(now.micVideoAppId, 1);
    EXPECT_EQ(now.micBusiness, 2);
    EXPECT_EQ(now.micStreamName, "mic");
    EXPECT_EQ(now.micSid, 4);
    EXPECT_EQ(now.micWidth, 5);
    EXPECT_EQ(now.micHeight, 6);
    EXPECT_EQ(now.micCodec, 7);
    EXPECT_EQ(now.role, 8);
    EXPECT_EQ(now.channelId, "channel");
    EXPECT_EQ(now.mixMode, 9);
    EXPECT_EQ(qolive_heartbeat_update_mic_info(1, 2, "mic", 3, 4, 5, 6, 7, 8, nullptr, 7, 9),
              QOLIVE_NULL_ARGUMENT);
}

TEST_F(CInterfaceHeartbeat, UpdateMixStreamInfoAndMode) {
    EXPECT_EQ(qolive_heartbeat_update_mix_stream_info("mix", 3, 1, 2, 3, 4), QOLIVE_DONE);
    EXPECT_EQ(qolive_heartbeat_update_mix_mode(5), QOLIVE_DONE);
    const LiveHeartReportData now = State();
    EXPECT_EQ(now.mixStreamName, "mix");
    EXPECT_EQ(now.mixWidth, 1);
    EXPECT_EQ(now.mixHeight, 2);
    EXPECT_EQ(now.mixSid, 3);
    EXPECT_EQ(now.mixCodec, 4);
    EXPECT_EQ(now.mixMode, 5);
    EXPECT_EQ(qolive_heartbeat_update_mix_stream_info(nullptr, 3, 1, 2, 3, 4), QOLIVE_NULL_ARGUMENT);
}

TEST_F(CInterfaceHeartbeat, UpdateDataStateCausesAndCancelsAFullReport) {
    qolive_heartbeat_start();
    FakeMsgCenter::main().connect(kHeartbeat);
    EXPECT_EQ(qolive_heartbeat_update_data_state(0), QOLIVE_DONE);
    EXPECT_EQ(qolive_heartbeat_update_data_state(1), QOLIVE_DONE);
    EXPECT_TRUE(NextReportIsFull());

    qolive_heartbeat_start();
    FakeMsgCenter::main().connect(kHeartbeat);
    EXPECT_EQ(qolive_heartbeat_update_data_state(0), QOLIVE_DONE);
    EXPECT_FALSE(NextReportIsFull());
}

TEST_F(CInterfaceHeartbeat, StartAndStopGiveTheHeartbeatsResults) {
    FakeMsgCenter::main().createSenderFails();
    EXPECT_EQ(qolive_heartbeat_start(), 0);
    EXPECT_EQ(qolive_heartbeat_stop(), 0);
    FakeMsgCenter::main().createSenderFails(false);
    EXPECT_EQ(qolive_heartbeat_start(), 1);
    EXPECT_EQ(qolive_heartbeat_start(), 2);
    EXPECT_EQ(qolive_heartbeat_start_backup(), 1);
    EXPECT_EQ(qolive_heartbeat_start_backup(), 0);
    EXPECT_TRUE(FakeMsgCenter::backup().hasSender(kHeartbeat));
    FakeMsgCenter::main().connect(kHeartbeat);
    EXPECT_EQ(qolive_heartbeat_stop(), 1);
    EXPECT_FALSE(FakeMsgCenter::main().hasSender(kHeartbeat));
    EXPECT_FALSE(FakeMsgCenter::backup().hasSender(kHeartbeat));
}

TEST_F(CInterfaceHeartbeat, IsConnecting) {
    qolive_heartbeat_start();
    EXPECT_EQ(qolive_heartbeat_is_connecting(), 0);
    FakeMsgCenter::main().connect(kHeartbeat);
    EXPECT_EQ(qolive_heartbeat_is_connecting(), 1);
}

TEST_F(CInterfaceHeartbeat, GetLastReportTmWritesWhatExists) {
    std::int64_t main = 5;
    std::int64_t backup = 6;
    EXPECT_EQ(qolive_heartbeat_get_last_report_tm(&main, &backup), QOLIVE_DONE);
    EXPECT_EQ(main, 5);
    EXPECT_EQ(backup, 6);
    qolive_heartbeat_start();
    EXPECT_EQ(qolive_heartbeat_get_last_report_tm(&main, &backup), QOLIVE_DONE);
    EXPECT_EQ(main, -1);
    EXPECT_EQ(backup, 6);
    EXPECT_EQ(qolive_heartbeat_get_last_report_tm(nullptr, &backup), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(qolive_heartbeat_get_last_report_tm(&main, nullptr), QOLIVE_NULL_ARGUMENT);
}

TEST_F(CInterfaceHeartbeat, SendCommandQueuesOnlyWhileTheHeartbeatRuns) {
    EXPECT_EQ(qolive_heartbeat_send_command(1, "x", 1), 0);
    qolive_heartbeat_start();
    EXPECT_EQ(qolive_heartbeat_send_command(1, "x", 1), 1);
    EXPECT_EQ(qolive_heartbeat_send_command(1, nullptr, 0), 1);
    EXPECT_EQ(qolive_heartbeat_send_command(1, nullptr, 1), QOLIVE_NULL_ARGUMENT);
    EXPECT_TRUE(FakeMsgCenter::main().hasSender(kCommands));
}

TEST_F(CInterfaceHeartbeat, ManagerStartAndStop) {
    std::int32_t mode = 9;
    EXPECT_EQ(qolive_heartbeat_manager_start("", 0, &mode), 0);
    EXPECT_EQ(qolive_heartbeat_manager_start("nope", 4, &mode), 0);
    EXPECT_EQ(qolive_heartbeat_manager_start("{}", 2, nullptr), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(mode, 9);
    StartCenters();
    EXPECT_EQ(qolive_heartbeat_manager_start("{}", 2, &mode), 1);
    EXPECT_EQ(mode, 9);
    EXPECT_TRUE(FakeMsgCenter::backup().hasSender(kHeartbeat));
    EXPECT_EQ(qolive_heartbeat_manager_start(R"({"heartbeatMode":1})", 19, &mode), 2);
    EXPECT_EQ(mode, 1);
    EXPECT_EQ(qolive_heartbeat_manager_start(R"({"heartbeatMode":0})", 19, &mode), 2);
    EXPECT_EQ(mode, 0);
    EXPECT_FALSE(FakeMsgCenter::main().hasSender(kHeartbeat));
    EXPECT_EQ(qolive_heartbeat_manager_stop(), 0);
}

TEST_F(CInterfaceHeartbeat, CountersTellWhatHasBecomeOfTheCommands) {
    StartCenters();
    ASSERT_EQ(qolive_heartbeat_start(), 1);
    for (int i = 0; i < 25; ++i)
        ASSERT_EQ(qolive_heartbeat_send_command(i, "{}", 2), 1);
    qolive_command_counters counters{};
    counters.size = sizeof counters;
    ASSERT_EQ(qolive_heartbeat_get_command_counters(&counters), QOLIVE_DONE);
    EXPECT_EQ(counters.queued, 25U);
    EXPECT_EQ(counters.dropped, 4U);
    EXPECT_EQ(counters.waiting, 21U);
    EXPECT_EQ(counters.handed_over, 0U);
    counters.size = sizeof counters - 1;
    EXPECT_EQ(qolive_heartbeat_get_command_counters(&counters), QOLIVE_BAD_SIZE);
    EXPECT_EQ(qolive_heartbeat_get_command_counters(nullptr), QOLIVE_NULL_ARGUMENT);
}

struct CInterfaceHeartbeatData : testing::Test {
    CInterfaceHeartbeatData() {
        data.size = sizeof data;
        char* buffer = buffers;
        for (qolive_text_buffer* text : {&data.session_id, &data.stream_name, &data.mic_stream_name,
                                         &data.channel_id, &data.mix_stream_name}) {
            *text = {buffer, kCapacity, 0};
            buffer += kCapacity;
        }
    }

    static std::string textOf(const qolive_text_buffer& buffer) { return {buffer.data, buffer.length}; }

    static constexpr std::size_t kCapacity = 8;
    char buffers[5 * kCapacity] = {};
    qolive_heartbeat_data data{};
};

TEST_F(CInterfaceHeartbeatData, HoldsEveryField) {
    Heartbeat().updateLiveID("session");
    Heartbeat().updateliveStatus(true);
    Heartbeat().updatemicStatus(true);
    Heartbeat().updateLiveBusinessInfo(101, 102);
    Heartbeat().updateLiveStreamInfo("stream", 103, 104, 105, 106);
    Heartbeat().updatePushStatus(107);
    Heartbeat().updateMicInfo(108, 109, "mic", 110, 111, 112, 113, 114, "channel", 115);
    Heartbeat().updateMicPushStatus(116);
    Heartbeat().updateMixStreamInfo("mix", 117, 118, 119, 120);
    Heartbeat().updateMixStreamStatus(121);

    EXPECT_EQ(qolive_heartbeat_get_data(&data), QOLIVE_DONE);
    EXPECT_EQ(textOf(data.session_id), "session");
    EXPECT_EQ(data.live_status, 1);
    EXPECT_EQ(data.mic_status, 1);
    EXPECT_EQ(data.video_app_id, 101);
    EXPECT_EQ(data.business, 102);
    EXPECT_EQ(textOf(data.stream_name), "stream");
    EXPECT_EQ(data.sid, 103);
    EXPECT_EQ(data.width, 104);
    EXPECT_EQ(data.height, 105);
    EXPECT_EQ(data.codec, 106);
    EXPECT_EQ(data.push_status, 107);
    EXPECT_EQ(data.mic_video_app_id, 108);
    EXPECT_EQ(data.mic_business, 109);
    EXPECT_EQ(textOf(data.mic_stream_name), "mic");
    EXPECT_EQ(data.mic_sid, 110);
    EXPECT_EQ(data.mic_width, 111);
    EXPECT_EQ(data.mic_height, 112);
    EXPECT_EQ(data.mic_codec, 113);
    EXPECT_EQ(data.role, 114);
    EXPECT_EQ(textOf(data.channel_id), "channel");
    EXPECT_EQ(data.mix_mode, 115);
    EXPECT_EQ(data.mic_push_status, 116);
    EXPECT_EQ(textOf(data.mix_stream_name), "mix");
    EXPECT_EQ(data.mix_width, 117);
    EXPECT_EQ(data.mix_height, 118);
    EXPECT_EQ(data.mix_sid, 119);
    EXPECT_EQ(data.mix_codec, 120);
    EXPECT_EQ(data.mix_status, 121);
}

TEST_F(CInterfaceHeartbeatData, WritesEverythingButTheTextThatDoesNotFit) {
    Heartbeat().updateLiveID("fits");
    Heartbeat().updateLiveStreamInfo("does not fit", 1, 2, 3, 4);
    EXPECT_EQ(qolive_heartbeat_get_data(&data), QOLIVE_TOO_SMALL);
    EXPECT_EQ(textOf(data.session_id), "fits");
    EXPECT_EQ(data.stream_name.length, 12U);
    EXPECT_EQ(data.stream_name.data[0], '\0');
    EXPECT_EQ(data.codec, 4);
    EXPECT_EQ(data.mix_stream_name.length, 0U);
}

TEST_F(CInterfaceHeartbeatData, RefusesWhatItCannotFill) {
    EXPECT_EQ(qolive_heartbeat_get_data(nullptr), QOLIVE_NULL_ARGUMENT);
    data.live_status = 77;
    data.mix_stream_name.data = nullptr;
    EXPECT_EQ(qolive_heartbeat_get_data(&data), QOLIVE_NULL_ARGUMENT);
    data.size = sizeof data - 1;
    EXPECT_EQ(qolive_heartbeat_get_data(&data), QOLIVE_BAD_SIZE);
    EXPECT_EQ(data.live_status, 77);
}

}  // namespace
