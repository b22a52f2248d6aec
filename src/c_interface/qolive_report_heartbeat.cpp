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

LiveHeartReport& heartbeat() {
    return *LiveHeartReport::GetInstance();
}

void writeNumbers(const LiveHeartReportData& state, qolive_heartbeat_data& result) {
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
std::int32_t writeTexts(const LiveHeartReportData& state, qolive_heartbeat_data& result) {
    return std::min({writeText(state.sessionId, result.session_id),
                     writeText(state.streamName, result.stream_name),
                     writeText(state.micStreamName, result.mic_stream_name),
                     writeText(state.channelId, result.channel_id),
                     writeText(state.mixStreamName, result.mix_stream_name)});
}

}  // namespace

int32_t qolive_heartbeat_update_live_status(int32_t live) noexcept {
    return done([=] { heartbeat().updateliveStatus(live != 0); });
}

int32_t qolive_heartbeat_update_mic_status(int32_t on) noexcept {
    return done([=] { heartbeat().updatemicStatus(on != 0); });
}

int32_t qolive_heartbeat_update_push_status(int32_t status) noexcept {
    return done([=] { heartbeat().updatePushStatus(status); });
}

int32_t qolive_heartbeat_update_mic_push_status(int32_t status) noexcept {
    return done([=] { heartbeat().updateMicPushStatus(status); });
}

int32_t qolive_heartbeat_update_mix_stream_status(int32_t status) noexcept {
    return done([=] { heartbeat().updateMixStreamStatus(status); });
}

int32_t qolive_heartbeat_update_live_id(const char* id, size_t id_length) noexcept {
    return done([=] { heartbeat().updateLiveID(toText(id, id_length)); });
}

int32_t qolive_heartbeat_update_live_business_info(int32_t app_id, int32_t business) noexcept {
    return done([=] { heartbeat().updateLiveBusinessInfo(app_id, business); });
}

int32_t qolive_heartbeat_update_live_stream_info(const char* stream_name, size_t stream_name_length,
                                                 int32_t sid, int32_t width, int32_t height,
                                                 int32_t codec) noexcept {
    return done([=] {
        heartbeat().updateLiveStreamInfo(toText(stream_name, stream_name_length), sid, width, height, codec);
    });
}

int32_t qolive_heartbeat_update_mic_info(int32_t app_id, int32_t business, const char* stream_name,
                                         size_t stream_name_length, int32_t sid, int32_t width,
                                         int32_t height, int32_t codec, int32_t role, const char* channel_id,
                                         size_t channel_id_length, int32_t mix_mode) noexcept {
    return done([=] {
        heartbeat().updateMicInfo(app_id, business, toText(stream_name, stream_name_length), sid, width,
                                  height, codec, role, toText(channel_id, channel_id_length), mix_mode);
    });
}

int32_t qolive_heartbeat_update_mix_stream_info(const char* stream_name, size_t stream_name_length,
                                                int32_t width, int32_t height, int32_t sid,
                                                int32_t codec) noexcept {
    return done([=] {
        heartbeat().updateMixStreamInfo(toText(stream_name, stream_name_length), width, height, sid, codec);
    });
}

int32_t qolive_heartbeat_update_mix_mode(int32_t mode) noexcept {
    return done([=] { heartbeat().updateMixMode(mode); });
}

int32_t qolive_heartbeat_update_data_state(int32_t changed) noexcept {
    return done([=] { heartbeat().updateDataState(changed != 0); });
}

int32_t qolive_heartbeat_get_session_id(char* buffer, size_t capacity, size_t* length) noexcept {
    return guarded(
        [=] { return c_interface::writeText(heartbeat().getSessionId(), buffer, capacity, length); });
}

int32_t qolive_heartbeat_get_data(qolive_heartbeat_data* data) noexcept {
    return guarded([=] {
        require(data);
        requireSize(data->size, sizeof *data);
        for (const qolive_text_buffer* buffer :
             {&data->session_id, &data->stream_name, &data->mic_stream_name, &data->channel_id,
              &data->mix_stream_name})
            requireBuffer(*buffer);
        const LiveHeartReportData state = heartbeat().GetLiveHeartReportData();
        writeNumbers(state, *data);
        return writeTexts(state, *data);
    });
}

int32_t qolive_heartbeat_get_last_report_tm(int64_t* main_ms, int64_t* backup_ms) noexcept {
    return done([=] {
        require(main_ms);
        require(backup_ms);
        heartbeat().GetLastReportTm(*main_ms, *backup_ms);
    });
}

int32_t qolive_heartbeat_is_connecting(void) noexcept {
    return guarded([] { return heartbeat().isConnecting(); });
}

int32_t qolive_heartbeat_send_command(int32_t biz_type, const char* data, size_t data_length) noexcept {
    return guarded([=] { return heartbeat().sendComand(biz_type, toText(data, data_length)); });
}

int32_t qolive_heartbeat_get_command_counters(qolive_command_counters* counters) noexcept {
    return done([=] {
        require(counters);
        requireSize(counters->size, sizeof *counters);
        const live_heartbeat::CommandCounters now = live_heartbeat::GetCommandCounters();
        counters->queued = now.queued;
        counters->handed_over = now.handedOver;
        counters->dropped = now.dropped;
        counters->waiting = now.waiting;
    });
}

int32_t qolive_heartbeat_start(void) noexcept {
    return guarded([] { return heartbeat().start(); });
}

int32_t qolive_heartbeat_start_backup(void) noexcept {
    return guarded([] { return heartbeat().startBackUp(); });
}

int32_t qolive_heartbeat_stop(void) noexcept {
    return guarded([] { return heartbeat().stop(); });
}

int32_t qolive_heartbeat_manager_start(const char* config, size_t config_length, int32_t* mode) noexcept {
    return guarded([=] {
        require(mode);
        return LiveHeartReportManager::GetInstance()->startLiveheart(toText(config, config_length), *mode);
    });
}

int32_t qolive_heartbeat_manager_stop(void) noexcept {
    return guarded([] { return LiveHeartReportManager::GetInstance()->stopLiveheart(); });
}
