// A host in strict C11: calls every function of the C interface against the real library, without a server.

#include <qolive_report.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define CHECK(condition)                                                    \
    do {                                                                    \
        if (!(condition)) {                                                 \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
            exit(1);                                                        \
        }                                                                   \
    } while (0)

#define TEXT(literal) literal, sizeof(literal) - 1

// Nothing listens on port 1 of this machine: the centers start and never connect.
static const char kServers[] =
    "{\"gatewayDns\":{\"main\":[\"127.0.0.1:1\"],\"backup\":[\"127.0.0.1:1\"]},\"expireTime\":0}";

static char buffer[256];
static size_t length;

static int IsText(const char* expected) {
    return length == strlen(expected) && memcmp(buffer, expected, length) == 0;
}

static void CountLine(void* user, int level, const char* line) {
    (void)level;
    (void)line;
    *(int*)user += 1;
}

static void Version(void) {
    CHECK(qolive_version() == QOLIVE_REPORT_VERSION);
    CHECK(strcmp(qolive_version_text(), QOLIVE_REPORT_VERSION_TEXT) == 0);
}

static void User(void) {
    int32_t type = 0;
    CHECK(qolive_user_set_login_token(TEXT("token")) == QOLIVE_DONE);
    CHECK(qolive_user_get_login_token(buffer, sizeof buffer, &length) == QOLIVE_DONE && IsText("token"));
    CHECK(qolive_user_set_brelo_id(TEXT("id")) == QOLIVE_DONE);
    CHECK(qolive_user_get_brelo_id(buffer, sizeof buffer, &length) == QOLIVE_DONE && IsText("id"));
    CHECK(qolive_user_get_brelo_id(buffer, 1, &length) == QOLIVE_TOO_SMALL && length == 2);
    CHECK(qolive_user_set_brelo_id(NULL, 2) == QOLIVE_NULL_ARGUMENT);
    CHECK(qolive_user_set_tag_room_type(-3) == QOLIVE_DONE);
    CHECK(qolive_user_get_tag_room_type(&type) == QOLIVE_DONE && type == -3);
}

static void LiveInfo(void) {
    int32_t number = 0;
    int64_t seconds = -1;
    CHECK(qolive_live_info_set_talk_living(1, 7) == QOLIVE_DONE);
    CHECK(qolive_live_info_is_talk_living() == 1);
    CHECK(qolive_live_info_get_sdk_id(&number) == QOLIVE_DONE && number == 7);
    CHECK(qolive_live_info_get_enter_talk_time(&seconds) == QOLIVE_DONE && seconds > 1600000000);
    CHECK(qolive_live_info_get_leave_talk_time(&seconds) == QOLIVE_DONE && seconds == 0);
    CHECK(qolive_live_info_set_mic_type(4) == QOLIVE_DONE);
    CHECK(qolive_live_info_get_mic_type(&number) == QOLIVE_DONE && number == 4);
    CHECK(qolive_live_info_set_mix_mode(2) == QOLIVE_DONE);
    CHECK(qolive_live_info_get_mix_mode(&number) == QOLIVE_DONE && number == 2);
    CHECK(qolive_live_info_get_is_client_mix() == 1);
    CHECK(qolive_live_info_get_layout_type(buffer, sizeof buffer, &length) == QOLIVE_DONE && IsText("none"));
    CHECK(qolive_live_info_set_layout_type(TEXT("grid")) == QOLIVE_DONE);
    CHECK(qolive_live_info_get_layout_type(buffer, sizeof buffer, &length) == QOLIVE_DONE && IsText("grid"));
    CHECK(qolive_live_info_set_super_sharp(1) == QOLIVE_DONE);
    CHECK(qolive_live_info_get_super_sharp() == 1);
}

static void CentersStart(void) {
    qolive_heart_base_config base = {.size = sizeof base, .int_value2 = 2};
    qolive_message_center *mainCenter = NULL, *backupCenter = NULL;
    CHECK(qolive_centers_start(TEXT("nope"), &base) == QOLIVE_FAILED);
    CHECK(qolive_centers_is_main_start_ok() == 0);
    CHECK(qolive_centers_start(TEXT(kServers), &base) == QOLIVE_DONE);
    CHECK(qolive_centers_start(TEXT(kServers), &base) == QOLIVE_ALREADY);
    CHECK(qolive_centers_is_main_start_ok() == 1);
    CHECK(qolive_centers_is_have_backup() == 1);
    CHECK(qolive_centers_get(1, &mainCenter) == QOLIVE_DONE && mainCenter);
    CHECK(qolive_centers_get(0, &backupCenter) == QOLIVE_DONE && backupCenter && backupCenter != mainCenter);
    base.size = 1;
    CHECK(qolive_centers_start(TEXT(kServers), &base) == QOLIVE_BAD_SIZE);
}

static void CountChange(void* user, int mainCenter, int state, const char* reason) {
    (void)state;
    (void)reason;
    ((int*)user)[mainCenter] += 1;
}

static void CentersWatch(void) {
    qolive_center_status status = {.size = sizeof status, .reason = {buffer, sizeof buffer, 0}};
    qolive_center_counters counters = {.size = sizeof counters, .accepted = 7};
    CHECK(qolive_centers_get_status(1, &status) == QOLIVE_DONE);
    CHECK(status.state > QOLIVE_CENTER_STOPPED && status.state < QOLIVE_CENTER_TOKEN_EXPIRED);
    CHECK(status.reason.length > 0 && status.since_ms > 1600000000000);
    CHECK(qolive_centers_get_counters(1, &counters) == QOLIVE_DONE && counters.accepted == 0);
    CHECK(qolive_centers_renew_access_token(TEXT("a new secret"), 1) == QOLIVE_DONE);
    CHECK(qolive_centers_renew_access_token(TEXT("se\0cret"), 0) == QOLIVE_FAILED);
    counters.size = 1;
    CHECK(qolive_centers_get_counters(1, &counters) == QOLIVE_BAD_SIZE);
}

static void HeartbeatState(void) {
    char session[8], stream[8], mic[8], channel[8], mix[8];
    qolive_heartbeat_data data = {.size = sizeof data,
                                  .session_id = {session, sizeof session, 0},
                                  .stream_name = {stream, sizeof stream, 0},
                                  .mic_stream_name = {mic, sizeof mic, 0},
                                  .channel_id = {channel, sizeof channel, 0},
                                  .mix_stream_name = {mix, sizeof mix, 0}};
    CHECK(qolive_heartbeat_update_live_status(1) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_mic_status(1) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_live_id(TEXT("live")) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_live_business_info(1, 2) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_live_stream_info(TEXT("stream"), 3, 4, 5, 6) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_push_status(7) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_mic_info(8, 9, TEXT("mic"), 10, 11, 12, 13, 14, TEXT("channel"), 15) ==
          QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_mic_push_status(16) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_mix_stream_info(TEXT("mix"), 17, 18, 19, 20) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_mix_stream_status(21) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_mix_mode(22) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_update_data_state(1) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_get_session_id(buffer, sizeof buffer, &length) == QOLIVE_DONE && IsText("live"));
    CHECK(qolive_heartbeat_get_data(&data) == QOLIVE_DONE);
    CHECK(data.live_status == 1 && data.codec == 6 && data.push_status == 7 && data.mix_status == 21);
    CHECK(data.channel_id.length == 7 && memcmp(channel, "channel", 7) == 0);
}

static void HeartbeatRun(void) {
    qolive_command_counters commands = {.size = sizeof commands};
    int32_t mode = 9;
    int64_t mainMs = 0, backupMs = 0;
    CHECK(qolive_heartbeat_send_command(1, TEXT("early")) == QOLIVE_FAILED);
    CHECK(qolive_heartbeat_manager_start(TEXT("{\"heartbeatMode\":1}"), &mode) == QOLIVE_DONE && mode == 1);
    CHECK(qolive_heartbeat_start() == QOLIVE_ALREADY);
    CHECK(qolive_heartbeat_start_backup() == QOLIVE_FAILED);
    CHECK(qolive_heartbeat_send_command(1, TEXT("{}")) == QOLIVE_DONE);
    CHECK(qolive_heartbeat_is_connecting() == 0);
    CHECK(qolive_heartbeat_get_last_report_tm(&mainMs, &backupMs) == QOLIVE_DONE);
    CHECK(mainMs == -1 && backupMs == -1);
    CHECK(qolive_heartbeat_get_command_counters(&commands) == QOLIVE_DONE);
    CHECK(commands.queued == 1 && commands.handed_over == 0 && commands.dropped == 0 &&
          commands.waiting == 1);
    CHECK(qolive_heartbeat_manager_stop() == 0);
    CHECK(qolive_heartbeat_start() == QOLIVE_DONE);
    CHECK(qolive_heartbeat_start_backup() == QOLIVE_DONE);
    CHECK(qolive_heartbeat_stop() == 0);
}

static void Streams(void) {
    qolive_record_counters records = {.size = sizeof records};
    uint64_t now = 0;
    CHECK(qolive_streams_get_tick_count_ms(&now) == QOLIVE_DONE && now > 1600000000000u);
    CHECK(qolive_streams_send_stream_report(TEXT("{}"), TEXT("{}"), NULL, 0, &length) == QOLIVE_FAILED);
    CHECK(qolive_streams_init() == QOLIVE_DONE);
    CHECK(qolive_streams_is_connected() == 0);
    CHECK(qolive_streams_report_start(TEXT("s"), QOLIVE_STREAM_SAMPLED) == QOLIVE_DONE);
    CHECK(qolive_streams_add_report_data(TEXT("s"), QOLIVE_DATA_VIDEO_BYTES_SENT, 1200) == QOLIVE_DONE);
    CHECK(qolive_streams_add_report_string_data(TEXT("s"), QOLIVE_STRING_URL, TEXT("u")) == QOLIVE_DONE);
    CHECK(qolive_streams_report_event_data(TEXT("s"), QOLIVE_EVENT_STREAM_START, TEXT("{")) ==
          QOLIVE_BAD_JSON);
    CHECK(qolive_streams_report_event_data(TEXT("s"), QOLIVE_EVENT_STREAM_START, TEXT("{}")) == QOLIVE_DONE);
    CHECK(qolive_streams_send_stream_report(TEXT("{}"), TEXT("{}"), buffer, sizeof buffer, &length) ==
          QOLIVE_DONE);
    CHECK(length > 9 && memcmp(buffer, "{\"mid\":\"", 8) == 0);
    CHECK(qolive_streams_get_record_counters(&records) == QOLIVE_DONE);
    CHECK(records.queued == 2 && records.waiting == 2 && records.waiting_bytes > 50);
    CHECK(qolive_streams_set_record_bound(1, 0) == QOLIVE_DONE);
    CHECK(qolive_streams_get_record_counters(&records) == QOLIVE_DONE);
    CHECK(records.waiting == 1 && records.dropped_by_bound == 1 && records.lost_at_disconnect == 0);
    CHECK(qolive_streams_report_stop(TEXT("s")) == QOLIVE_DONE);
}

int main(void) {
    int lines = 0, changes[2] = {0, 0};
    CHECK(qolive_set_log_sink(CountLine, &lines) == QOLIVE_DONE);
    Version();
    User();
    LiveInfo();
    CHECK(qolive_centers_set_status_sink(CountChange, changes) == QOLIVE_DONE);
    CentersStart();
    CentersWatch();
    HeartbeatState();
    HeartbeatRun();
    Streams();
    CHECK(qolive_centers_stop() == QOLIVE_DONE);
    CHECK(qolive_centers_is_main_start_ok() == 0);
    CHECK(qolive_centers_renew_access_token(TEXT("late"), 0) == QOLIVE_FAILED);
    CHECK(qolive_centers_set_status_sink(NULL, NULL) == QOLIVE_DONE);
    CHECK(changes[0] > 1 && changes[1] > 1);
    CHECK(qolive_set_log_sink(NULL, NULL) == QOLIVE_DONE);
    CHECK(lines > 0);
    puts("ok");
    return 0;
}
