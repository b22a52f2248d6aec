#include <algorithm>
#include <initializer_list>

#include "c_interface/CallGuard.h"
#include "c_interface/qolive_report.h"
#include "heartbeat/CommandCounters.h"
#include "heartbeat/LiveHeartReport.h"
#include "heartbeat/LiveHeartReportData.h"
#include "heartbeat/LiveHeartReportManager.h"

using namespace c_interface;

namespace {

LiveHeartReport& Heartbeat() {
    return *LiveHeartReport::GetInstance();
}

void WriteNumbers(const LiveHeartReportData& state, qolive_heartbeat_data& result) {
    result.live_status = state.liveStatus;
    result.mic_status = state.micStatus;
    result.video_app_id = state.videoAppId;
    result.business = state.business;
    result.sid = state.sid;
    result.width = state.width;
    result.height = state.height;
    result.codec = state.codec;
    result.push_status = state.pushStatus;
    result.mic_video_app_id = state.micVideoAppId;
    result.mic_business = state.micBusiness;
    result.mic_sid = state.micSid;
    result.mic_width = state.micWidth;
    result.mic_height = state.micHeight;
    result.mic_codec = state.micCodec;
    result.mic_push_status = state.micPushStatus;
    result.role = state.role;
    result.mix_mode = state.mixMode;
    result.mix_width = state.mixWidth;
    result.mix_height = state.mixHeight;
    result.mix_status = state.mixStatus;
    result.mix_sid = state.mixSid;
    result.mix_codec = state.mixCodec;
}

/// QOLIVE_TOO_SMALL when one of them did not fit.
std::int32_t WriteTexts(const LiveHeartReportData& state, qolive_heartbeat_data& result) {
    return std::min({WriteText(state.sessionId, result.session_id),
                     WriteText(state.streamName, result.stream_name),
                     WriteText(state.micStreamName, result.mic_stream_name),
                     WriteText(state.channelId, result.channel_id),
                     WriteText(state.mixStreamName, result.mix_stream_name)});
}

}  // namespace

int32_t qolive_heartbeat_update_live_status(int32_t live) noexcept {
    return Done([=] { Heartbeat().updateliveStatus(live != 0); });
}

int32_t qolive_heartbeat_update_mic_status(int32_t on) noexcept {
    return Done([=] { Heartbeat().updatemicStatus(on != 0); });
}

int32_t qolive_heartbeat_update_push_status(int32_t status) noexcept {
    return Done([=] { Heartbeat().updatePushStatus(status); });
}

int32_t qolive_heartbeat_update_mic_push_status(int32_t status) noexcept {
    return Done([=] { Heartbeat().updateMicPushStatus(status); });
}

int32_t qolive_heartbeat_update_mix_stream_status(int32_t status) noexcept {
    return Done([=] { Heartbeat().updateMixStreamStatus(status); });
}

int32_t qolive_heartbeat_update_live_id(const char* id, size_t id_length) noexcept {
    return Done([=] { Heartbeat().updateLiveID(ToText(id, id_length)); });
}

int32_t qolive_heartbeat_update_live_business_info(int32_t app_id, int32_t business) noexcept {
    return Done([=] { Heartbeat().updateLiveBusinessInfo(app_id, business); });
}

int32_t qolive_heartbeat_update_live_stream_info(const char* stream_name, size_t stream_name_length,
                                                 int32_t sid, int32_t width, int32_t height,
                                                 int32_t codec) noexcept {
    return Done([=] {
        Heartbeat().updateLiveStreamInfo(ToText(stream_name, stream_name_length), sid, width, height, codec);
    });
}

int32_t qolive_heartbeat_update_mic_info(int32_t app_id, int32_t business, const char* stream_name,
                                         size_t stream_name_length, int32_t sid, int32_t width,
                                         int32_t height, int32_t codec, int32_t role, const char* channel_id,
                                         size_t channel_id_length, int32_t mix_mode) noexcept {
    return Done([=] {
        Heartbeat().updateMicInfo(app_id, business, ToText(stream_name, stream_name_length), sid, width,
                                  height, codec, role, ToText(channel_id, channel_id_length), mix_mode);
    });
}

int32_t qolive_heartbeat_update_mix_stream_info(const char* stream_name, size_t stream_name_length,
                                                int32_t width, int32_t height, int32_t sid,
                                                int32_t codec) noexcept {
    return Done([=] {
        Heartbeat().updateMixStreamInfo(ToText(stream_name, stream_name_length), width, height, sid, codec);
    });
}

int32_t qolive_heartbeat_update_mix_mode(int32_t mode) noexcept {
    return Done([=] { Heartbeat().updateMixMode(mode); });
}

int32_t qolive_heartbeat_update_data_state(int32_t changed) noexcept {
    return Done([=] { Heartbeat().updateDataState(changed != 0); });
}

int32_t qolive_heartbeat_get_session_id(char* buffer, size_t capacity, size_t* length) noexcept {
    return Guarded(
        [=] { return c_interface::WriteText(Heartbeat().getSessionId(), buffer, capacity, length); });
}

int32_t qolive_heartbeat_get_data(qolive_heartbeat_data* data) noexcept {
    return Guarded([=] {
        Require(data);
        RequireSize(data->size, sizeof *data);
        for (const qolive_text_buffer* buffer :
             {&data->session_id, &data->stream_name, &data->mic_stream_name, &data->channel_id,
              &data->mix_stream_name})
            RequireBuffer(*buffer);
        const LiveHeartReportData state = Heartbeat().GetLiveHeartReportData();
        WriteNumbers(state, *data);
        return WriteTexts(state, *data);
    });
}

int32_t qolive_heartbeat_get_last_report_tm(int64_t* main_ms, int64_t* backup_ms) noexcept {
    return Done([=] {
        Require(main_ms);
        Require(backup_ms);
        Heartbeat().GetLastReportTm(*main_ms, *backup_ms);
    });
}

int32_t qolive_heartbeat_is_connecting(void) noexcept {
    return Guarded([] { return Heartbeat().isConnecting(); });
}

int32_t qolive_heartbeat_send_command(int32_t biz_type, const char* data, size_t data_length) noexcept {
    return Guarded([=] { return Heartbeat().sendComand(biz_type, ToText(data, data_length)); });
}

int32_t qolive_heartbeat_get_command_counters(qolive_command_counters* counters) noexcept {
    return Done([=] {
        Require(counters);
        RequireSize(counters->size, sizeof *counters);
        const live_heartbeat::CommandCounters now = live_heartbeat::GetCommandCounters();
        counters->queued = now.queued;
        counters->handed_over = now.handedOver;
        counters->dropped = now.dropped;
        counters->waiting = now.waiting;
    });
}

int32_t qolive_heartbeat_start(void) noexcept {
    return Guarded([] { return Heartbeat().start(); });
}

int32_t qolive_heartbeat_start_backup(void) noexcept {
    return Guarded([] { return Heartbeat().startBackUp(); });
}

int32_t qolive_heartbeat_stop(void) noexcept {
    return Guarded([] { return Heartbeat().stop(); });
}

int32_t qolive_heartbeat_manager_start(const char* config, size_t config_length, int32_t* mode) noexcept {
    return Guarded([=] {
        Require(mode);
        return LiveHeartReportManager::GetInstance()->startLiveheart(ToText(config, config_length), *mode);
    });
}

int32_t qolive_heartbeat_manager_stop(void) noexcept {
    return Guarded([] { return LiveHeartReportManager::GetInstance()->stopLiveheart(); });
}
