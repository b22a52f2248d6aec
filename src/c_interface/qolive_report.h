#pragma once

// The C interface: every operation of the exported classes as a plain C function, for hosts that are not
// built with the library's own C++ compiler (another compiler, C, C#, Rust, Go, Python). Strict C11; usable
// from C++. Each function names the operation that it stands for and behaves as that one does.
//
// A short heartbeat (error handling left out):
//
//     static const char servers[] = "{\"gatewayDns\":{\"main\":[\"a.example:8883\"],\"backup\":[]}}";
//     qolive_heart_base_config base = {.size = sizeof base};
//     int32_t mode = 1;
//     qolive_centers_start(servers, sizeof servers - 1, &base);
//     qolive_heartbeat_manager_start("{}", 2, &mode);
//     qolive_heartbeat_update_live_status(1);
//     ...
//     qolive_heartbeat_manager_stop();
//     qolive_centers_stop();
//
// Results. Every function but the two version queries returns an int32_t: above zero = yes or done, zero = no
// or failed, below zero = refused or failed by this interface itself (QOLIVE_NULL_ARGUMENT and below), with
// nothing done unless the function says otherwise. Functions that only hand something over return
// QOLIVE_DONE. Nothing is ever thrown across this interface.
//
// Texts are UTF-8, a pointer and a length in bytes without terminator. They are not checked, and may hold
// zero bytes. What is not UTF-8 in them is read back as it was given, and arrives at a server as U+FFFD. A
// null pointer with length 0 is the empty text; a null pointer with another length is refused. Texts are only
// read during the call.
//
// Text results go to a buffer of the caller: `capacity` bytes may be written, nothing is added behind the
// text, and `*length` receives the full length. A text that does not fit is not written at all and the result
// is QOLIVE_TOO_SMALL; a null buffer with capacity 0 thus asks for the length. Another thread may change the
// text between two calls, so call again until it fits.
//
// JSON parameters are texts too. One that does not parse (the empty text as well) is refused with
// QOLIVE_BAD_JSON.
//
// A pointer for a result must not be null (QOLIVE_NULL_ARGUMENT).
//
// Structures begin with `size`, which the caller sets to sizeof of its structure, so that a later version of
// the library can add members at the end. A size smaller than that of version 0.1 is refused with
// QOLIVE_BAD_SIZE; members that the library does not know yet are not read or written.
//
// Threads. Unless a function says otherwise, any thread may call it at any time and it does not block, beyond
// the short time that another thread holds a lock of the same part. No function may be called from inside a
// log sink, nor once the process has begun to exit (static destructors run then).

// NOLINTBEGIN(readability-identifier-naming): the names are C's.

#include <stddef.h>
#include <stdint.h>

#include "qolive_report/base/Export.h"
#include "qolive_report_version.h"

#ifdef __cplusplus
#define QOLIVE_NOTHROW noexcept
extern "C" {
#else
#define QOLIVE_NOTHROW
#endif

// ---------------------------------------------------------------------------------------------- results

enum {
    QOLIVE_FAILED = 0,
    QOLIVE_DONE = 1,
    QOLIVE_ALREADY = 2,  ///< the center or heartbeat ran before, or the heartbeat is switched off now

    QOLIVE_NULL_ARGUMENT = -1,  ///< null text with a length, or null where a result is to go
    QOLIVE_BAD_JSON = -2,       ///< a JSON parameter does not parse
    QOLIVE_TOO_SMALL = -3,      ///< the buffer is smaller than the text
    QOLIVE_BAD_SIZE = -4,       ///< the `size` of a structure is too small
    QOLIVE_OUT_OF_MEMORY = -5,
    QOLIVE_INTERNAL = -6  ///< an error of the runtime or of a library underneath; it may have had an effect
};

// ---------------------------------------------------------------------------------------------- version

/// The version of the library that is loaded, as major * 1000000 + minor * 1000 + patch, to be compared with
/// QOLIVE_REPORT_VERSION, that of this header.
QOLIVE_API uint32_t qolive_version(void) QOLIVE_NOTHROW;

/// The same as text, "major.minor.patch", terminated by a zero byte; it lives as long as the library.
QOLIVE_API const char* qolive_version_text(void) QOLIVE_NOTHROW;

// -------------------------------------------------------------------------------------------------- log

/// Receives one finished log line, terminated by a zero byte, without a line break at its end; the text may
/// hold what a server sent, so who writes lines escapes control characters. `level` is 2 for nearly all
/// lines, and 4 for a server address that was refused and where a thread or memory is missing. Lines of the
/// message center ("[msgcenter] sdklog: warning: main: ...") are of level 2, with their severity (info,
/// warning, error) and the center (main, backup) in the text. Called on any thread of the host and of the
/// library, several at once. It must not call back into the library, nor throw.
typedef void (*qolive_log_sink)(void* user, int level, const char* line);

/// SetLogSink: hands every later line to `sink`, null for the default (standard error). When it returns, no
/// thread is inside the previous sink and none enters it. Blocks while a call of the previous sink runs.
QOLIVE_API int32_t qolive_set_log_sink(qolive_log_sink sink, void* user) QOLIVE_NOTHROW;

// ----------------------------------------------------------------------------------- user: QoUser

// These facts have no lock: one thread at a time sets or reads them.

QOLIVE_API int32_t qolive_user_set_login_token(const char* token, size_t token_length) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_user_get_login_token(char* buffer, size_t capacity, size_t* length) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_user_set_brelo_id(const char* id, size_t id_length) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_user_get_brelo_id(char* buffer, size_t capacity, size_t* length) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_user_set_tag_room_type(int32_t type) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_user_get_tag_room_type(int32_t* type) QOLIVE_NOTHROW;

// ---------------------------------------------------------------------- live session: CLiveCommonInfo

/// SetTalkLiving: a talk session went live (`living` not 0) or ended, under the identifier `sdk_id`; notes
/// the current time as enter or as leave time.
QOLIVE_API int32_t qolive_live_info_set_talk_living(int32_t living, int32_t sdk_id) QOLIVE_NOTHROW;

/// IsTalkLiving: 1 or 0.
QOLIVE_API int32_t qolive_live_info_is_talk_living(void) QOLIVE_NOTHROW;

/// GetEnterTalkTime, GetLeaveTalkTime: seconds since 1970-01-01 UTC, 0 = never.
QOLIVE_API int32_t qolive_live_info_get_enter_talk_time(int64_t* seconds) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_live_info_get_leave_talk_time(int64_t* seconds) QOLIVE_NOTHROW;

QOLIVE_API int32_t qolive_live_info_get_sdk_id(int32_t* sdk_id) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_live_info_set_mic_type(int32_t type) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_live_info_get_mic_type(int32_t* type) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_live_info_set_mix_mode(int32_t mode) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_live_info_get_mix_mode(int32_t* mode) QOLIVE_NOTHROW;

/// GetIsClientMix: 1 when the mix mode is 2, else 0.
QOLIVE_API int32_t qolive_live_info_get_is_client_mix(void) QOLIVE_NOTHROW;

/// SetLayoutType, GetLayoutType: "none" until set.
QOLIVE_API int32_t qolive_live_info_set_layout_type(const char* layout, size_t layout_length) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_live_info_get_layout_type(char* buffer, size_t capacity,
                                                    size_t* length) QOLIVE_NOTHROW;

/// SetSuperSharp, GetSuperSharp: 1 or 0.
QOLIVE_API int32_t qolive_live_info_set_super_sharp(int32_t on) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_live_info_get_super_sharp(void) QOLIVE_NOTHROW;

// ------------------------------------------------------------------ connections: Bas::CMsgCenterFactory

/// A text parameter inside a structure.
typedef struct qolive_text {
    const char* data;
    size_t length;
} qolive_text;

/// A text result inside a structure: the caller sets `data` and `capacity`.
typedef struct qolive_text_buffer {
    char* data;
    size_t capacity;
    size_t length;
} qolive_text_buffer;

/// Bas::HeartBaseConfig, whose documentation tells what each value means to the message center over MQTT.
typedef struct qolive_heart_base_config {
    size_t size;
    int32_t int_value1;       ///< keep-alive, seconds; 0 = 15
    int32_t int_value2;       ///< 0 = TLS but for loopback, 1 = TLS always, 2 = never TLS
    int64_t int64_value1;     ///< longest pause between connection rounds, ms; 0 = 30 000
    int64_t int64_value2;     ///< user id; 0 = the client name is the user name
    qolive_text text_value1;  ///< client name, [A-Za-z0-9_-]; empty = random
    qolive_text text_value2;  ///< CA certificate file (PEM); empty = the system's trust store
} qolive_heart_base_config;

/// CMsgCenterFactory::Start: configures and starts the main and the backup center; they connect in the
/// background. `config` is {"gatewayDns":{"main":["host:port"...],"backup":[...]},"accessToken":"...",
/// "expireTime":0}. 1 started, 2 already started, 0 not started (`config` is empty, not JSON or not of this
/// form, or the center refused; a log line says why). Waits for another thread's call of this function or of
/// qolive_centers_stop.
QOLIVE_API int32_t qolive_centers_start(const char* config, size_t config_length,
                                        const qolive_heart_base_config* base) QOLIVE_NOTHROW;

/// CMsgCenterFactory::Stop: stops both centers, which can be started again. Blocks for up to 1 s for each.
/// Waits for another thread's call of this function or of qolive_centers_start.
QOLIVE_API int32_t qolive_centers_stop(void) QOLIVE_NOTHROW;

/// CMsgCenterFactory::IsHaveBKCenter, IsMainCenterStartOK: 1 when that center is started, else 0.
QOLIVE_API int32_t qolive_centers_is_have_backup(void) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_centers_is_main_start_ok(void) QOLIVE_NOTHROW;

/// What a center is doing: Bas::CenterState.
enum {
    QOLIVE_CENTER_UNKNOWN = 0,       ///< the message-center library does not tell
    QOLIVE_CENTER_STOPPED = 1,       ///< not started, or stopped
    QOLIVE_CENTER_CONNECTING = 2,    ///< on its way through the addresses
    QOLIVE_CENTER_CONNECTED = 3,     ///< messages can be sent
    QOLIVE_CENTER_WAITING = 4,       ///< no address answered: the pause before the next round
    QOLIVE_CENTER_REFUSED = 5,       ///< a server refused it; it goes on trying
    QOLIVE_CENTER_TOKEN_EXPIRED = 6  ///< the access token has expired: no connection is made any more
};

/// Bas::CenterStatus. `reason` is for a person: the server, or the last failure.
typedef struct qolive_center_status {
    size_t size;
    qolive_text_buffer reason;
    int64_t since_ms;  ///< when the state began, ms since 1970-01-01 UTC; 0 = unknown
    int32_t state;     ///< QOLIVE_CENTER_...
} qolive_center_status;

/// Bas::GetCenterStatus: of the main center when `main_center` is not 0, else of the backup center.
/// QOLIVE_TOO_SMALL when the reason does not fit; state, time and length are written all the same.
QOLIVE_API int32_t qolive_centers_get_status(int32_t main_center,
                                             qolive_center_status* status) QOLIVE_NOTHROW;

/// Bas::CenterCounters: what has become of the messages of one center since the process began. At any moment
/// `accepted` is the sum of `acknowledged`, `refused`, the four `dropped_` and `waiting`.
typedef struct qolive_center_counters {
    size_t size;
    uint64_t accepted;                  ///< taken by the center
    uint64_t published;                 ///< sent; again after a reconnect counts again
    uint64_t acknowledged;              ///< taken by a server
    uint64_t refused;                   ///< refused by a server, by its access rules for example
    uint64_t dropped_unusable;          ///< larger than the server takes, or a head that cannot travel
    uint64_t dropped_late;              ///< heartbeats that could not leave for a whole period
    uint64_t dropped_at_reconnect;      ///< heartbeats of before a reconnect
    uint64_t dropped_at_stop;           ///< not acknowledged when the center stopped
    uint64_t not_accepted_full;         ///< too much was waiting already
    uint64_t not_accepted_unconnected;  ///< there was no connection
    uint64_t reconnects;                ///< connections that took the place of a lost one
    uint64_t waiting;                   ///< taken, neither acknowledged nor given up so far
    uint64_t waiting_records;           ///< those of them that are neither heartbeats nor commands
    int64_t oldest_waiting_ms;          ///< how long the oldest of them has waited; 0 when none waits
} qolive_center_counters;

/// Bas::GetCenterCounters.
QOLIVE_API int32_t qolive_centers_get_counters(int32_t main_center,
                                               qolive_center_counters* counters) QOLIVE_NOTHROW;

/// Bas::CenterStatusSink: the state of the main center (`main_center` 1) or the backup center (0), or its
/// reason, has changed. `reason` ends with a zero byte and is valid during the call only. Called on threads
/// of the library, one call at a time for each center. It must return soon, because its center waits for it,
/// and must not throw. The status and the counters may be read in it and the access token renewed;
/// qolive_centers_start and _stop do nothing there, and no sink may be set.
typedef void (*qolive_center_status_sink)(void* user, int main_center, int state, const char* reason);

/// Bas::SetCenterStatusSink: hands every later change to `sink`, null for none. When it returns, no thread is
/// inside the previous sink and none enters it. Blocks while a call of the previous sink runs.
QOLIVE_API int32_t qolive_centers_set_status_sink(qolive_center_status_sink sink, void* user) QOLIVE_NOTHROW;

/// Bas::RenewAccessToken: a new access token for the centers that are started, without a restart;
/// `expire_time` in seconds since 1970-01-01 UTC, 0 = never. The next connection is made with it, at once
/// where the old one has expired or was refused. 1 when a center has taken it, 0 when none is started or the
/// token is longer than 65535 bytes or holds a zero byte. It is never logged. May be called inside the status
/// sink.
QOLIVE_API int32_t qolive_centers_renew_access_token(const char* token, size_t token_length,
                                                     int64_t expire_time) QOLIVE_NOTHROW;

/// A message center: in C++ it is a QoPlayer::MsgCenter, which a host can use that has put a message-center
/// library of its own into this one. To every other host it only tells one center from the other: no function
/// here takes one, `main_center` says which center is meant.
typedef struct qolive_message_center qolive_message_center;

/// CMsgCenterFactory::GetFactoryObj: the main center when `main_center` is not 0, else the backup center.
/// Never null, the same from the first call on, and not to be freed.
QOLIVE_API int32_t qolive_centers_get(int32_t main_center, qolive_message_center** center) QOLIVE_NOTHROW;

// ------------------------------------------------------------------------- heartbeat: LiveHeartReport

// The updates change the state at any time, also while no heartbeat runs. They wait for a heartbeat that is
// being built, never for the network.

/// updateliveStatus, updatemicStatus: on when not 0.
QOLIVE_API int32_t qolive_heartbeat_update_live_status(int32_t live) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_heartbeat_update_mic_status(int32_t on) QOLIVE_NOTHROW;

QOLIVE_API int32_t qolive_heartbeat_update_push_status(int32_t status) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_heartbeat_update_mic_push_status(int32_t status) QOLIVE_NOTHROW;
QOLIVE_API int32_t qolive_heartbeat_update_mix_stream_status(int32_t status) QOLIVE_NOTHROW;

/// updateLiveID: the session id; it goes out with the next full report that something else causes.
QOLIVE_API int32_t qolive_heartbeat_update_live_id(const char* id, size_t id_length) QOLIVE_NOTHROW;

QOLIVE_API int32_t qolive_heartbeat_update_live_business_info(int32_t app_id,
                                                              int32_t business) QOLIVE_NOTHROW;

/// updateLiveStreamInfo: the anchor's stream; sets the push status to 2 as well.
QOLIVE_API int32_t qolive_heartbeat_update_live_stream_info(const char* stream_name,
                                                            size_t stream_name_length, int32_t sid,
                                                            int32_t width, int32_t height,
                                                            int32_t codec) QOLIVE_NOTHROW;

/// updateMicInfo: the co-host link.
QOLIVE_API int32_t qolive_heartbeat_update_mic_info(int32_t app_id, int32_t business, const char* stream_name,
                                                    size_t stream_name_length, int32_t sid, int32_t width,
                                                    int32_t height, int32_t codec, int32_t role,
                                                    const char* channel_id, size_t channel_id_length,
                                                    int32_t mix_mode) QOLIVE_NOTHROW;

/// updateMixStreamInfo: the mixed stream.
QOLIVE_API int32_t qolive_heartbeat_update_mix_stream_info(const char* stream_name, size_t stream_name_length,
                                                           int32_t width, int32_t height, int32_t sid,
                                                           int32_t codec) QOLIVE_NOTHROW;

QOLIVE_API int32_t qolive_heartbeat_update_mix_mode(int32_t mode) QOLIVE_NOTHROW;

/// updateDataState: not 0 makes the next report on each connection a full one, 0 cancels that.
QOLIVE_API int32_t qolive_heartbeat_update_data_state(int32_t changed) QOLIVE_NOTHROW;

QOLIVE_API int32_t qolive_heartbeat_get_session_id(char* buffer, size_t capacity,
                                                   size_t* length) QOLIVE_NOTHROW;

/// LiveHeartReportData: the whole state of the heartbeat. Statuses are 1 (on) and 2 (off).
typedef struct qolive_heartbeat_data {
    size_t size;
    qolive_text_buffer session_id;
    qolive_text_buffer stream_name;
    qolive_text_buffer mic_stream_name;
    qolive_text_buffer channel_id;
    qolive_text_buffer mix_stream_name;
    int32_t live_status;
    int32_t mic_status;
    int32_t video_app_id;
    int32_t business;
    int32_t sid;
    int32_t width;
    int32_t height;
    int32_t codec;
    int32_t push_status;
    int32_t mic_video_app_id;
    int32_t mic_business;
    int32_t mic_sid;
    int32_t mic_width;
    int32_t mic_height;
    int32_t mic_codec;
    int32_t mic_push_status;
    int32_t role;
    int32_t mix_mode;
    int32_t mix_width;
    int32_t mix_height;
    int32_t mix_status;
    int32_t mix_sid;
    int32_t mix_codec;
} qolive_heartbeat_data;

/// GetLiveHeartReportData: the state at one moment. When one of the texts does not fit, QOLIVE_TOO_SMALL; the
/// numbers, every length and the texts that do fit are written all the same.
QOLIVE_API int32_t qolive_heartbeat_get_data(qolive_heartbeat_data* data) QOLIVE_NOTHROW;

/// GetLastReportTm: when a report was last attempted on the main and on the backup connection, ms since
/// 1970-01-01 UTC, -1 = not yet. A value whose connection does not exist is left as it is.
QOLIVE_API int32_t qolive_heartbeat_get_last_report_tm(int64_t* main_ms, int64_t* backup_ms) QOLIVE_NOTHROW;

/// isConnecting: 1 when the main or the backup heartbeat connection is up, else 0.
QOLIVE_API int32_t qolive_heartbeat_is_connecting(void) QOLIVE_NOTHROW;

/// sendComand: queues one command, any text; 1 queued, 0 when no heartbeat runs. At most 21 wait: a further
/// one drops the oldest. They wait while connected as well, for up to 200 ms, until the heartbeat thread
/// comes to them: of a burst of more than 21 the last 21 leave. Drops are logged, in one line a second at
/// most, and counted.
QOLIVE_API int32_t qolive_heartbeat_send_command(int32_t biz_type, const char* data,
                                                 size_t data_length) QOLIVE_NOTHROW;

/// live_heartbeat::CommandCounters: what has become of the commands since the process began.
typedef struct qolive_command_counters {
    size_t size;
    uint64_t queued;       ///< qolive_heartbeat_send_command said 1
    uint64_t handed_over;  ///< the message center took them
    uint64_t dropped;      ///< the oldest that waited, because 21 did and another one came
    uint64_t waiting;      ///< in the queue now
} qolive_command_counters;

/// GetCommandCounters. Takes no lock.
QOLIVE_API int32_t qolive_heartbeat_get_command_counters(qolive_command_counters* counters) QOLIVE_NOTHROW;

/// start: opens the heartbeat on the main center and starts its thread. 1 started, 2 was running, 0 failed.
QOLIVE_API int32_t qolive_heartbeat_start(void) QOLIVE_NOTHROW;

/// startBackUp: adds the heartbeat on the backup center. 1 added, 0 when it was there already.
QOLIVE_API int32_t qolive_heartbeat_start_backup(void) QOLIVE_NOTHROW;

/// stop: sends a last heartbeat, closes the senders, ends the thread and resets the state. 1 when the last
/// heartbeat on the main center was handed over, else 0. Blocks while a callback of the closing senders runs.
QOLIVE_API int32_t qolive_heartbeat_stop(void) QOLIVE_NOTHROW;

// ------------------------------------------------------------------ heartbeat: LiveHeartReportManager

/// startLiveheart: `config` is {"heartbeatMode":1}, with which (or without the member) the heartbeat is
/// started, on the backup center too when that is started; any other integer stops it. 1 started, 2 was
/// running or is switched off (`*mode` tells), 0 when `config` is empty, not JSON, or JSON but neither an
/// object nor null (which counts as an empty object), or the heartbeat could not be started. `*mode` is left
/// as it is when `config` names no integer mode.
QOLIVE_API int32_t qolive_heartbeat_manager_start(const char* config, size_t config_length,
                                                  int32_t* mode) QOLIVE_NOTHROW;

/// stopLiveheart: as qolive_heartbeat_stop.
QOLIVE_API int32_t qolive_heartbeat_manager_stop(void) QOLIVE_NOTHROW;

// --------------------------------------------------------------------- streams:
// data_report::DataReportManager

/// StreamTypeEnum: what the library does for a stream by itself.
enum {
    QOLIVE_STREAM_SAMPLED = 0,     ///< takes samples, sends quality records, pings the stream's server
    QOLIVE_STREAM_EVENTS_ONLY = 1  ///< sends only what the host reports; so does every other value
};

/// DataTypeEnum: the numeric slots of a stream. Counters (0 to 11) are added to; settings keep the latest
/// value.
enum {
    QOLIVE_DATA_VIDEO_FRAMES_CAPTURED = 0,
    QOLIVE_DATA_VIDEO_FRAMES_ENCODED = 1,
    QOLIVE_DATA_VIDEO_FRAMES_SENT = 2,
    QOLIVE_DATA_FRAMES_LOST = 3,
    QOLIVE_DATA_AUDIO_FRAMES_CAPTURED = 4,
    QOLIVE_DATA_AUDIO_FRAMES_ENCODED = 5,
    QOLIVE_DATA_AUDIO_FRAMES_SENT = 6,
    QOLIVE_DATA_UNUSED_COUNTER_7 = 7,
    QOLIVE_DATA_VIDEO_BYTES_ENCODED = 8,
    QOLIVE_DATA_VIDEO_BYTES_SENT = 9,
    QOLIVE_DATA_AUDIO_BYTES_ENCODED = 10,
    QOLIVE_DATA_AUDIO_BYTES_SENT = 11,

    QOLIVE_DATA_UNUSED_SETTING_12 = 12,
    QOLIVE_DATA_PROVIDER = 13,
    QOLIVE_DATA_PROTOCOL = 14,
    QOLIVE_DATA_REQUEST_TIME = 15,              ///< ms since 1970-01-01 UTC
    QOLIVE_DATA_RESPONSE_TIME = 16,             ///< ms since 1970-01-01 UTC
    QOLIVE_DATA_FIRST_FRAME_ARRIVAL_TIME = 17,  ///< ms since 1970-01-01 UTC
    QOLIVE_DATA_ENCODER_TYPE = 18,
    QOLIVE_DATA_VIDEO_WIDTH = 19,
    QOLIVE_DATA_VIDEO_HEIGHT = 20,
    QOLIVE_DATA_CONFIGURED_FRAME_RATE = 21,
    QOLIVE_DATA_CONFIGURED_VIDEO_BITRATE = 22,  ///< kbit/s
    QOLIVE_DATA_CODEC = 23,
    QOLIVE_DATA_CONFIGURED_AUDIO_BITRATE = 24,  ///< kbit/s
    QOLIVE_DATA_STREAM_START_TIME = 25,         ///< ms since 1970-01-01 UTC
    QOLIVE_DATA_STREAM_END_TIME = 26,           ///< ms since 1970-01-01 UTC
    QOLIVE_DATA_FIRST_FRAME_TIME = 27,          ///< ms since 1970-01-01 UTC
    QOLIVE_DATA_NETWORK_TYPE = 28,
    QOLIVE_DATA_UNUSED_SETTING_29 = 29,
    QOLIVE_DATA_APPLICATION_ID = 30,
    QOLIVE_DATA_PID = 31,
    QOLIVE_DATA_USER_ID = 32,
    QOLIVE_DATA_ROOM_ID = 33,
    QOLIVE_DATA_UNUSED_SETTING_34 = 34,
    QOLIVE_DATA_LIVE_TYPE = 35,
    QOLIVE_DATA_CLARITY_LEVEL = 36,
    QOLIVE_DATA_UNUSED_SETTING_37 = 37,
    QOLIVE_DATA_HOST_MEMORY = 38,
    QOLIVE_DATA_UNUSED_SETTING_39 = 39,
    QOLIVE_DATA_STATE = 40,
    QOLIVE_DATA_RESULT_CODE = 41
};

/// StringDataTypeEnum: the text slots of a stream.
enum {
    QOLIVE_STRING_URL = 0,
    QOLIVE_STRING_SERVER_IP = 1,  ///< also what a sampled stream pings
    QOLIVE_STRING_SESSION_ID = 2,
    QOLIVE_STRING_VERSION = 3,
    QOLIVE_STRING_DEVICE_ID = 4,
    QOLIVE_STRING_PROCESSOR_DESCRIPTION = 5,
    QOLIVE_STRING_STREAM_ID = 6
};

/// EventTypeEnum: what the host reports about a stream.
enum {
    QOLIVE_EVENT_STREAM_START = 1,  ///< the one event that goes out before the server has accepted the stream
    QOLIVE_EVENT_HOST_RECORD = 3,
    QOLIVE_EVENT_FIRST_FRAME = 4
};

/// Init: opens the stream reporting on the main center and starts its threads; until this has succeeded, all
/// functions below are without effect. 1 done, now or before; 0 failed, and can be tried again.
QOLIVE_API int32_t qolive_streams_init(void) QOLIVE_NOTHROW;

/// IsConnected: 1 when the connection of the stream reports is up, else 0.
QOLIVE_API int32_t qolive_streams_is_connected(void) QOLIVE_NOTHROW;

/// GetTickCountMs: wall-clock milliseconds since 1970-01-01 UTC.
QOLIVE_API int32_t qolive_streams_get_tick_count_ms(uint64_t* milliseconds) QOLIVE_NOTHROW;

/// ReportStart: announces the stream `id` of `type` (QOLIVE_STREAM_...); without effect when it is announced
/// already.
QOLIVE_API int32_t qolive_streams_report_start(const char* id, size_t id_length, int32_t type) QOLIVE_NOTHROW;

/// ReportStop: forgets the stream. Blocks for up to 3 s while a sampled stream's ping ends.
QOLIVE_API int32_t qolive_streams_report_stop(const char* id, size_t id_length) QOLIVE_NOTHROW;

/// AddReportData: feeds the slot `type` (QOLIVE_DATA_...). Without effect for an unknown stream or slot.
QOLIVE_API int32_t qolive_streams_add_report_data(const char* id, size_t id_length, int32_t type,
                                                  int64_t value) QOLIVE_NOTHROW;

/// AddReportStringData: sets the slot `type` (QOLIVE_STRING_...). Without effect for an unknown stream or
/// slot.
QOLIVE_API int32_t qolive_streams_add_report_string_data(const char* id, size_t id_length, int32_t type,
                                                         const char* value,
                                                         size_t value_length) QOLIVE_NOTHROW;

/// ReportEventData: reports the event `type` (QOLIVE_EVENT_...) with the JSON text `event`, at least "{}".
/// Without effect for an unknown stream, before the server's acceptance for every event but
/// QOLIVE_EVENT_STREAM_START, and when the library is to add to an event that is no object.
QOLIVE_API int32_t qolive_streams_report_event_data(const char* id, size_t id_length, int32_t type,
                                                    const char* event, size_t event_length) QOLIVE_NOTHROW;

/// SendStreamReport: queues the JSON text `record` under the JSON object `head`, at least "{}", to which the
/// message id "mid" is added. 1 queued, 0 when the reporting is not initialised or `head` is no object. The
/// head that is sent goes to `buffer` as compact JSON if it fits; when it does not, the record is queued and
/// the result 1 all the same, and `*sent_head_length` is larger than `capacity`.
QOLIVE_API int32_t qolive_streams_send_stream_report(const char* record, size_t record_length,
                                                     const char* head, size_t head_length, char* buffer,
                                                     size_t capacity,
                                                     size_t* sent_head_length) QOLIVE_NOTHROW;

/// data_report::RecordCounters: what has become of the records since the process began. Once nothing is on
/// its way, `queued` is the sum of the next four.
typedef struct qolive_record_counters {
    size_t size;
    uint64_t queued;
    uint64_t handed_over;         ///< the message center took them
    uint64_t lost_at_disconnect;  ///< the connection went down while they were being sent
    uint64_t dropped_by_bound;    ///< the oldest that waited, because of qolive_streams_set_record_bound
    uint64_t waiting;             ///< now
    uint64_t waiting_bytes;       ///< of their texts, record and head
    uint64_t oldest_waiting_ms;   ///< how long the oldest of them has waited; 0 when none waits
} qolive_record_counters;

/// GetRecordCounters. Works before qolive_streams_init too.
QOLIVE_API int32_t qolive_streams_get_record_counters(qolive_record_counters* counters) QOLIVE_NOTHROW;

/// SetRecordBound: how many records and how many bytes of them may wait for the connection; 0 = as many as
/// come, as it is until this is called. Beyond either bound the oldest are dropped, at once and with each
/// record that is queued, but for the newest one, which always stays. Drops are counted, and logged in one
/// line a second at most.
QOLIVE_API int32_t qolive_streams_set_record_bound(uint64_t most_records, uint64_t most_bytes) QOLIVE_NOTHROW;

#ifdef __cplusplus
}
#endif

// NOLINTEND(readability-identifier-naming)
