// QoLiveReport for C#: the C interface (qolive_report.h) in one file, for .NET and Mono.
//
//     Log.SetSink((level, line) => Console.WriteLine(line));
//     using (Centers.Started(@"{""gatewayDns"":{""main"":[""a.example:8883""],""backup"":[]}}")) {
//         Heartbeat.ManagerStart();
//         Heartbeat.UpdateLiveStatus(true);
//         ...
//         Heartbeat.ManagerStop();
//     }
//
// qolive_report.h tells what each operation does, which threads may call it and whether it blocks; the names are the same in
// the way of C#. JSON goes in and out as text. What the interface refuses throws a QoLiveException; yes and no are returned.
//
// The library is looked for as QoLiveReport.dll on Windows, and on Linux as libQoLiveReport.so, which is in the development
// package: where only the library is installed, define QOLIVE_LINUX for libQoLiveReport.so.0.

using System;
using System.Runtime.InteropServices;
using System.Text;

namespace QoLiveReport {

/// <summary>What a start has led to.</summary>
public enum Outcome {
    Failed = 0,
    Done = 1,

    /// <summary>It ran before, or the heartbeat is switched off.</summary>
    Already = 2
}

/// <summary>What a center is doing.</summary>
public enum CenterState {
    /// <summary>The message-center library does not tell.</summary>
    Unknown = 0,
    Stopped = 1,
    Connecting = 2,
    Connected = 3,

    /// <summary>No address answered: the pause before the next round.</summary>
    Waiting = 4,

    /// <summary>A server refused it; it goes on trying.</summary>
    Refused = 5,

    /// <summary>The access token has expired: no connection is made any more.</summary>
    TokenExpired = 6
}

public enum StreamType { Sampled = 0, EventsOnly = 1 }

/// <summary>The numeric slots of a stream; 0 to 11 are counters that are added to.</summary>
public enum DataType {
    VideoFramesCaptured = 0,
    VideoFramesEncoded = 1,
    VideoFramesSent = 2,
    FramesLost = 3,
    AudioFramesCaptured = 4,
    AudioFramesEncoded = 5,
    AudioFramesSent = 6,
    UnusedCounter7 = 7,
    VideoBytesEncoded = 8,
    VideoBytesSent = 9,
    AudioBytesEncoded = 10,
    AudioBytesSent = 11,
    UnusedSetting12 = 12,
    Provider = 13,
    Protocol = 14,
    RequestTime = 15,
    ResponseTime = 16,
    FirstFrameArrivalTime = 17,
    EncoderType = 18,
    VideoWidth = 19,
    VideoHeight = 20,
    ConfiguredFrameRate = 21,
    ConfiguredVideoBitrate = 22,
    Codec = 23,
    ConfiguredAudioBitrate = 24,
    StreamStartTime = 25,
    StreamEndTime = 26,
    FirstFrameTime = 27,
    NetworkType = 28,
    UnusedSetting29 = 29,
    ApplicationId = 30,
    Pid = 31,
    UserId = 32,
    RoomId = 33,
    UnusedSetting34 = 34,
    LiveType = 35,
    ClarityLevel = 36,
    UnusedSetting37 = 37,
    HostMemory = 38,
    UnusedSetting39 = 39,
    State = 40,
    ResultCode = 41
}

/// <summary>The text slots of a stream.</summary>
public enum StringType {
    Url = 0,
    ServerIp = 1,
    SessionId = 2,
    Version = 3,
    DeviceId = 4,
    ProcessorDescription = 5,
    StreamId = 6
}

public enum EventType { StreamStart = 1, HostRecord = 3, FirstFrame = 4 }

/// <summary>The library refused a call.</summary>
public class QoLiveException : Exception {
    /// <summary>The name in qolive_report.h.</summary>
    public readonly string Function;

    /// <summary>The result of the call.</summary>
    public readonly int Code;

    public QoLiveException(string function, int code) : this(function, code, Words(code)) {}

    public QoLiveException(string function, int code, string words) : base(function + ": " + words + " (" + code + ")") {
        Function = function;
        Code = code;
    }

    static string Words(int code) {
        switch (code) {
            case 0: return "failed";
            case -1: return "a null text with a length, or no place for the result";
            case -2: return "a JSON parameter does not parse";
            case -3: return "the buffer is smaller than the text";
            case -4: return "the size of a structure is too small";
            case -5: return "out of memory";
            case -6: return "an error of the runtime or of a library underneath";
            default: return "error";
        }
    }
}

/// <summary>What the message center is told beside its servers; qolive_heart_base_config tells the meanings.</summary>
public class HeartBaseConfig {
    public int IntValue1, IntValue2;
    public long Int64Value1, Int64Value2;
    public string TextValue1 = "", TextValue2 = "";
}

/// <summary>The whole state of the heartbeat. Statuses are 1 (on) and 2 (off).</summary>
public class HeartbeatData {
    public string SessionId, StreamName, MicStreamName, ChannelId, MixStreamName;
    public int LiveStatus, MicStatus, VideoAppId, Business, Sid, Width, Height, Codec, PushStatus;
    public int MicVideoAppId, MicBusiness, MicSid, MicWidth, MicHeight, MicCodec, MicPushStatus, Role;
    public int MixMode, MixWidth, MixHeight, MixStatus, MixSid, MixCodec;
}

public class CenterStatus {
    public CenterState State;

    /// <summary>For a person: the server, or the last failure.</summary>
    public string Reason;

    /// <summary>When the state began, ms since 1970; 0 = unknown.</summary>
    public long SinceMs;
}

/// <summary>What has become of the messages of one center since the process began.</summary>
[StructLayout(LayoutKind.Sequential)]
public struct CenterCounters {
    internal UIntPtr Size;
    public ulong Accepted, Published, Acknowledged, Refused, DroppedUnusable, DroppedLate, DroppedAtReconnect, DroppedAtStop;
    public ulong NotAcceptedFull, NotAcceptedUnconnected, Reconnects, Waiting, WaitingRecords;
    public long OldestWaitingMs;
}

/// <summary>What has become of the heartbeat's commands since the process began.</summary>
[StructLayout(LayoutKind.Sequential)]
public struct CommandCounters {
    internal UIntPtr Size;
    public ulong Queued, HandedOver, Dropped, Waiting;
}

/// <summary>What has become of the records since the process began.</summary>
[StructLayout(LayoutKind.Sequential)]
public struct RecordCounters {
    internal UIntPtr Size;
    public ulong Queued, HandedOver, LostAtDisconnect, DroppedByBound, Waiting, WaitingBytes, OldestWaitingMs;
}

public static class Library {
    /// <summary>major * 1000000 + minor * 1000 + patch</summary>
    public static uint Version { get { return Native.qolive_version(); } }

    public static string VersionText { get { return Texts.FromNative(Native.qolive_version_text()); } }
}

public static class Log {
    static readonly object s_lock = new object();
    static Native.LogSink s_sink;  // the library keeps only its address

    /// <summary>Hands every later line to the sink as level and text, null for standard error. It is called on threads of the
    /// library, several at once; it must not call the library, and what it throws is dropped.</summary>
    public static void SetSink(Action<int, string> sink) {
        lock (s_lock) {
            Native.LogSink native = null;
            if (sink != null) native = (user, level, line) => Call(sink, level, line);
            Native.Do(Native.qolive_set_log_sink(native, IntPtr.Zero), "qolive_set_log_sink");
            GC.KeepAlive(s_sink);  // which is no longer in use now
            s_sink = native;
        }
    }

    static void Call(Action<int, string> sink, int level, IntPtr line) {
        try {
            sink(level, Texts.FromNative(line));
        } catch (Exception) {
            // Nothing may be thrown across the interface.
        }
    }
}

/// <summary>QoUser. These facts have no lock: one thread at a time sets or reads them.</summary>
public static class User {
    public static string LoginToken {
        get { return Texts.Read(Native.qolive_user_get_login_token, "qolive_user_get_login_token"); }
        set {
            var text = Texts.Utf8(value);
            Native.Do(Native.qolive_user_set_login_token(text, Texts.Length(text)), "qolive_user_set_login_token");
        }
    }

    public static string BreloId {
        get { return Texts.Read(Native.qolive_user_get_brelo_id, "qolive_user_get_brelo_id"); }
        set {
            var text = Texts.Utf8(value);
            Native.Do(Native.qolive_user_set_brelo_id(text, Texts.Length(text)), "qolive_user_set_brelo_id");
        }
    }

    public static int TagRoomType {
        get {
            int type;
            Native.Do(Native.qolive_user_get_tag_room_type(out type), "qolive_user_get_tag_room_type");
            return type;
        }
        set { Native.Do(Native.qolive_user_set_tag_room_type(value), "qolive_user_set_tag_room_type"); }
    }
}

/// <summary>CLiveCommonInfo. Times are seconds since 1970, 0 = never.</summary>
public static class LiveInfo {
    public static void SetTalkLiving(bool living, int sdkId) {
        Native.Do(Native.qolive_live_info_set_talk_living(Native.Int(living), sdkId), "qolive_live_info_set_talk_living");
    }

    public static bool IsTalkLiving {
        get { return Native.Yes(Native.qolive_live_info_is_talk_living(), "qolive_live_info_is_talk_living"); }
    }

    public static long EnterTalkTime {
        get {
            long seconds;
            Native.Do(Native.qolive_live_info_get_enter_talk_time(out seconds), "qolive_live_info_get_enter_talk_time");
            return seconds;
        }
    }

    public static long LeaveTalkTime {
        get {
            long seconds;
            Native.Do(Native.qolive_live_info_get_leave_talk_time(out seconds), "qolive_live_info_get_leave_talk_time");
            return seconds;
        }
    }

    public static int SdkId {
        get {
            int id;
            Native.Do(Native.qolive_live_info_get_sdk_id(out id), "qolive_live_info_get_sdk_id");
            return id;
        }
    }

    public static int MicType {
        get {
            int type;
            Native.Do(Native.qolive_live_info_get_mic_type(out type), "qolive_live_info_get_mic_type");
            return type;
        }
        set { Native.Do(Native.qolive_live_info_set_mic_type(value), "qolive_live_info_set_mic_type"); }
    }

    public static int MixMode {
        get {
            int mode;
            Native.Do(Native.qolive_live_info_get_mix_mode(out mode), "qolive_live_info_get_mix_mode");
            return mode;
        }
        set { Native.Do(Native.qolive_live_info_set_mix_mode(value), "qolive_live_info_set_mix_mode"); }
    }

    public static bool IsClientMix {
        get { return Native.Yes(Native.qolive_live_info_get_is_client_mix(), "qolive_live_info_get_is_client_mix"); }
    }

    public static string LayoutType {
        get { return Texts.Read(Native.qolive_live_info_get_layout_type, "qolive_live_info_get_layout_type"); }
        set {
            var text = Texts.Utf8(value);
            Native.Do(Native.qolive_live_info_set_layout_type(text, Texts.Length(text)), "qolive_live_info_set_layout_type");
        }
    }

    public static bool SuperSharp {
        get { return Native.Yes(Native.qolive_live_info_get_super_sharp(), "qolive_live_info_get_super_sharp"); }
        set { Native.Do(Native.qolive_live_info_set_super_sharp(Native.Int(value)), "qolive_live_info_set_super_sharp"); }
    }
}

/// <summary>Bas::CMsgCenterFactory: the main and the backup connection.</summary>
public static class Centers {
    public static Outcome Start(string config, HeartBaseConfig settings = null) {
        settings = settings ?? new HeartBaseConfig();
        var text = Texts.Utf8(config);
        using (NativeText text1 = new NativeText(settings.TextValue1), text2 = new NativeText(settings.TextValue2)) {
            var native = new Native.HeartBaseConfig {
                Size = (UIntPtr)Marshal.SizeOf(typeof(Native.HeartBaseConfig)),
                IntValue1 = settings.IntValue1,
                IntValue2 = settings.IntValue2,
                Int64Value1 = settings.Int64Value1,
                Int64Value2 = settings.Int64Value2,
                TextValue1 = text1.AsText(),
                TextValue2 = text2.AsText()
            };
            return Native.AsOutcome(Native.qolive_centers_start(text, Texts.Length(text), ref native), "qolive_centers_start");
        }
    }

    public static void Stop() { Native.Do(Native.qolive_centers_stop(), "qolive_centers_stop"); }

    /// <summary>Starts the centers, which Dispose stops. Throws when the configuration is refused or they ran before.</summary>
    public static IDisposable Started(string config, HeartBaseConfig settings = null) {
        var outcome = Start(config, settings);
        if (outcome == Outcome.Done) return new Running();
        throw new QoLiveException("qolive_centers_start", (int)outcome,
                                  outcome == Outcome.Failed ? "not started" : "was started before");
    }

    sealed class Running : IDisposable {
        bool m_stopped;

        public void Dispose() {
            if (m_stopped) return;
            m_stopped = true;
            Stop();
        }
    }

    public static bool HasBackup {
        get { return Native.Yes(Native.qolive_centers_is_have_backup(), "qolive_centers_is_have_backup"); }
    }

    public static bool IsMainStartOk {
        get { return Native.Yes(Native.qolive_centers_is_main_start_ok(), "qolive_centers_is_main_start_ok"); }
    }

    /// <summary>What tells a center from another one. There is nothing to free.</summary>
    public static IntPtr Get(bool main) {
        IntPtr center;
        Native.Do(Native.qolive_centers_get(Native.Int(main), out center), "qolive_centers_get");
        return center;
    }

    public static CenterStatus GetStatus(bool main) {
        for (var capacity = 256;; capacity *= 2) {  // the reason may be another one by the next call
            using (var reason = new NativeText(capacity)) {
                var native = new Native.CenterStatus {
                    Size = (UIntPtr)Marshal.SizeOf(typeof(Native.CenterStatus)),
                    Reason = reason.AsBuffer()
                };
                var result = Native.qolive_centers_get_status(Native.Int(main), ref native);
                if (result == Native.TooSmall) continue;
                Native.Do(result, "qolive_centers_get_status");
                return new CenterStatus { State = (CenterState)native.State, Reason = native.Reason.Read(),
                                          SinceMs = native.SinceMs };
            }
        }
    }

    public static CenterCounters GetCounters(bool main) {
        var counters = new CenterCounters { Size = (UIntPtr)Marshal.SizeOf(typeof(CenterCounters)) };
        Native.Do(Native.qolive_centers_get_counters(Native.Int(main), ref counters), "qolive_centers_get_counters");
        return counters;
    }

    static readonly object s_lock = new object();
    static Native.StatusSink s_sink;  // the library keeps only its address

    /// <summary>Hands every change of a center to the sink: whether it is the main center, its state and the reason. Null ends
    /// that. It is called on threads of the library, and what it throws is dropped.</summary>
    public static void SetStatusSink(Action<bool, CenterState, string> sink) {
        lock (s_lock) {
            Native.StatusSink native = null;
            if (sink != null) native = (user, main, state, reason) => Call(sink, main != 0, (CenterState)state, reason);
            Native.Do(Native.qolive_centers_set_status_sink(native, IntPtr.Zero), "qolive_centers_set_status_sink");
            GC.KeepAlive(s_sink);  // which is no longer in use now
            s_sink = native;
        }
    }

    static void Call(Action<bool, CenterState, string> sink, bool main, CenterState state, IntPtr reason) {
        try {
            sink(main, state, Texts.FromNative(reason));
        } catch (Exception) {
            // Nothing may be thrown across the interface.
        }
    }

    /// <summary>True when a center has taken the token; the time is seconds since 1970, 0 = never.</summary>
    public static bool RenewAccessToken(string token, long expireTime = 0) {
        var text = Texts.Utf8(token);
        return Native.Yes(Native.qolive_centers_renew_access_token(text, Texts.Length(text), expireTime),
                          "qolive_centers_renew_access_token");
    }
}

/// <summary>LiveHeartReport, and LiveHeartReportManager as ManagerStart and ManagerStop.</summary>
public static class Heartbeat {
    public static void UpdateLiveStatus(bool live) {
        Native.Do(Native.qolive_heartbeat_update_live_status(Native.Int(live)), "qolive_heartbeat_update_live_status");
    }

    public static void UpdateMicStatus(bool on) {
        Native.Do(Native.qolive_heartbeat_update_mic_status(Native.Int(on)), "qolive_heartbeat_update_mic_status");
    }

    public static void UpdatePushStatus(int status) {
        Native.Do(Native.qolive_heartbeat_update_push_status(status), "qolive_heartbeat_update_push_status");
    }

    public static void UpdateMicPushStatus(int status) {
        Native.Do(Native.qolive_heartbeat_update_mic_push_status(status), "qolive_heartbeat_update_mic_push_status");
    }

    public static void UpdateMixStreamStatus(int status) {
        Native.Do(Native.qolive_heartbeat_update_mix_stream_status(status), "qolive_heartbeat_update_mix_stream_status");
    }

    public static void UpdateLiveId(string sessionId) {
        var text = Texts.Utf8(sessionId);
        Native.Do(Native.qolive_heartbeat_update_live_id(text, Texts.Length(text)), "qolive_heartbeat_update_live_id");
    }

    public static void UpdateLiveBusinessInfo(int appId, int business) {
        Native.Do(Native.qolive_heartbeat_update_live_business_info(appId, business),
                  "qolive_heartbeat_update_live_business_info");
    }

    public static void UpdateLiveStreamInfo(string streamName, int sid, int width, int height, int codec) {
        var name = Texts.Utf8(streamName);
        Native.Do(Native.qolive_heartbeat_update_live_stream_info(name, Texts.Length(name), sid, width, height, codec),
                  "qolive_heartbeat_update_live_stream_info");
    }

    public static void UpdateMicInfo(int appId, int business, string streamName, int sid, int width, int height, int codec,
                                     int role, string channelId, int mixMode) {
        byte[] name = Texts.Utf8(streamName), channel = Texts.Utf8(channelId);
        Native.Do(Native.qolive_heartbeat_update_mic_info(appId, business, name, Texts.Length(name), sid, width, height, codec,
                                                          role, channel, Texts.Length(channel), mixMode),
                  "qolive_heartbeat_update_mic_info");
    }

    public static void UpdateMixStreamInfo(string streamName, int width, int height, int sid, int codec) {
        var name = Texts.Utf8(streamName);
        Native.Do(Native.qolive_heartbeat_update_mix_stream_info(name, Texts.Length(name), width, height, sid, codec),
                  "qolive_heartbeat_update_mix_stream_info");
    }

    public static void UpdateMixMode(int mode) {
        Native.Do(Native.qolive_heartbeat_update_mix_mode(mode), "qolive_heartbeat_update_mix_mode");
    }

    public static void UpdateDataState(bool changed) {
        Native.Do(Native.qolive_heartbeat_update_data_state(Native.Int(changed)), "qolive_heartbeat_update_data_state");
    }

    public static string SessionId {
        get { return Texts.Read(Native.qolive_heartbeat_get_session_id, "qolive_heartbeat_get_session_id"); }
    }

    public static HeartbeatData GetData() {
        for (var capacity = 64;; capacity *= 2) {  // another thread may make a text longer in between
            using (NativeText session = new NativeText(capacity), stream = new NativeText(capacity),
                   mic = new NativeText(capacity), channel = new NativeText(capacity), mix = new NativeText(capacity)) {
                var native = new Native.HeartbeatData {
                    Size = (UIntPtr)Marshal.SizeOf(typeof(Native.HeartbeatData)),
                    SessionId = session.AsBuffer(),
                    StreamName = stream.AsBuffer(),
                    MicStreamName = mic.AsBuffer(),
                    ChannelId = channel.AsBuffer(),
                    MixStreamName = mix.AsBuffer(),
                    Numbers = new int[Native.HeartbeatNumbers]
                };
                var result = Native.qolive_heartbeat_get_data(ref native);
                if (result == Native.TooSmall) continue;
                Native.Do(result, "qolive_heartbeat_get_data");
                return Read(native);
            }
        }
    }

    static HeartbeatData Read(Native.HeartbeatData native) {
        var n = native.Numbers;
        return new HeartbeatData {
            SessionId = native.SessionId.Read(), StreamName = native.StreamName.Read(),
            MicStreamName = native.MicStreamName.Read(), ChannelId = native.ChannelId.Read(),
            MixStreamName = native.MixStreamName.Read(),
            LiveStatus = n[0], MicStatus = n[1], VideoAppId = n[2], Business = n[3], Sid = n[4], Width = n[5], Height = n[6],
            Codec = n[7], PushStatus = n[8], MicVideoAppId = n[9], MicBusiness = n[10], MicSid = n[11], MicWidth = n[12],
            MicHeight = n[13], MicCodec = n[14], MicPushStatus = n[15], Role = n[16], MixMode = n[17], MixWidth = n[18],
            MixHeight = n[19], MixStatus = n[20], MixSid = n[21], MixCodec = n[22]
        };
    }

    /// <summary>When a report was last attempted on the main and on the backup connection, ms since 1970; null = not yet, or
    /// there is no such connection.</summary>
    public static void GetLastReportTm(out long? main, out long? backup) {
        long mainMs = -1, backupMs = -1;
        Native.Do(Native.qolive_heartbeat_get_last_report_tm(ref mainMs, ref backupMs), "qolive_heartbeat_get_last_report_tm");
        main = mainMs < 0 ? (long?)null : mainMs;
        backup = backupMs < 0 ? (long?)null : backupMs;
    }

    public static bool IsConnecting {
        get { return Native.Yes(Native.qolive_heartbeat_is_connecting(), "qolive_heartbeat_is_connecting"); }
    }

    public static bool SendCommand(int bizType, string data) {
        var text = Texts.Utf8(data);
        return Native.Yes(Native.qolive_heartbeat_send_command(bizType, text, Texts.Length(text)),
                          "qolive_heartbeat_send_command");
    }

    public static CommandCounters GetCommandCounters() {
        var counters = new CommandCounters { Size = (UIntPtr)Marshal.SizeOf(typeof(CommandCounters)) };
        Native.Do(Native.qolive_heartbeat_get_command_counters(ref counters), "qolive_heartbeat_get_command_counters");
        return counters;
    }

    public static Outcome Start() { return Native.AsOutcome(Native.qolive_heartbeat_start(), "qolive_heartbeat_start"); }

    public static bool StartBackup() {
        return Native.Yes(Native.qolive_heartbeat_start_backup(), "qolive_heartbeat_start_backup");
    }

    public static bool Stop() { return Native.Yes(Native.qolive_heartbeat_stop(), "qolive_heartbeat_stop"); }

    public static Outcome ManagerStart(string config = "{}") {
        int? mode;
        return ManagerStart(config, out mode);
    }

    /// <summary>As above; the mode is null when the configuration names none.</summary>
    public static Outcome ManagerStart(string config, out int? mode) {
        const int unnamed = int.MinValue;
        var text = Texts.Utf8(config);
        int found = unnamed;
        var result = Native.qolive_heartbeat_manager_start(text, Texts.Length(text), ref found);
        mode = found == unnamed ? (int?)null : found;
        return Native.AsOutcome(result, "qolive_heartbeat_manager_start");
    }

    public static bool ManagerStop() {
        return Native.Yes(Native.qolive_heartbeat_manager_stop(), "qolive_heartbeat_manager_stop");
    }
}

/// <summary>data_report::DataReportManager.</summary>
public static class Streams {
    public static bool Init() { return Native.Yes(Native.qolive_streams_init(), "qolive_streams_init"); }

    public static bool IsConnected {
        get { return Native.Yes(Native.qolive_streams_is_connected(), "qolive_streams_is_connected"); }
    }

    public static ulong GetTickCountMs() {
        ulong milliseconds;
        Native.Do(Native.qolive_streams_get_tick_count_ms(out milliseconds), "qolive_streams_get_tick_count_ms");
        return milliseconds;
    }

    public static void ReportStart(string stream, StreamType type = StreamType.Sampled) {
        var id = Texts.Utf8(stream);
        Native.Do(Native.qolive_streams_report_start(id, Texts.Length(id), (int)type), "qolive_streams_report_start");
    }

    public static void ReportStop(string stream) {
        var id = Texts.Utf8(stream);
        Native.Do(Native.qolive_streams_report_stop(id, Texts.Length(id)), "qolive_streams_report_stop");
    }

    public static void AddReportData(string stream, DataType type, long value) {
        var id = Texts.Utf8(stream);
        Native.Do(Native.qolive_streams_add_report_data(id, Texts.Length(id), (int)type, value),
                  "qolive_streams_add_report_data");
    }

    public static void AddReportStringData(string stream, StringType type, string value) {
        byte[] id = Texts.Utf8(stream), text = Texts.Utf8(value);
        Native.Do(Native.qolive_streams_add_report_string_data(id, Texts.Length(id), (int)type, text, Texts.Length(text)),
                  "qolive_streams_add_report_string_data");
    }

    public static void ReportEventData(string stream, EventType type, string json = "{}") {
        byte[] id = Texts.Utf8(stream), text = Texts.Utf8(json);
        Native.Do(Native.qolive_streams_report_event_data(id, Texts.Length(id), (int)type, text, Texts.Length(text)),
                  "qolive_streams_report_event_data");
    }

    /// <summary>The head that is sent, with its "mid"; null when the record is not queued.</summary>
    public static string SendStreamReport(string record, string head = "{}") {
        byte[] body = Texts.Utf8(record), text = Texts.Utf8(head);
        UIntPtr length;
        var sent = new byte[32 * text.Length + 256];
        var result = Native.qolive_streams_send_stream_report(body, Texts.Length(body), text, Texts.Length(text), sent,
                                                              Texts.Length(sent), out length);
        return Native.Yes(result, "qolive_streams_send_stream_report")
                   ? Encoding.UTF8.GetString(sent, 0, (int)Math.Min((ulong)length, (ulong)sent.Length))
                   : null;
    }

    public static RecordCounters GetRecordCounters() {
        var counters = new RecordCounters { Size = (UIntPtr)Marshal.SizeOf(typeof(RecordCounters)) };
        Native.Do(Native.qolive_streams_get_record_counters(ref counters), "qolive_streams_get_record_counters");
        return counters;
    }

    /// <summary>How many records and bytes may wait, 0 = as many as come.</summary>
    public static void SetRecordBound(ulong mostRecords, ulong mostBytes) {
        Native.Do(Native.qolive_streams_set_record_bound(mostRecords, mostBytes), "qolive_streams_set_record_bound");
    }
}

static class Texts {
    public delegate int Reader(byte[] buffer, UIntPtr capacity, out UIntPtr length);

    public static byte[] Utf8(string text) { return Encoding.UTF8.GetBytes(text ?? ""); }

    public static UIntPtr Length(byte[] text) { return (UIntPtr)text.Length; }

    public static string Read(Reader reader, string function) {
        for (var buffer = new byte[256];;) {  // another thread may make it longer in between
            UIntPtr length;
            var result = reader(buffer, Length(buffer), out length);
            if (result != Native.TooSmall) {
                Native.Do(result, function);
                return Encoding.UTF8.GetString(buffer, 0, (int)length);
            }
            buffer = new byte[(int)length];
        }
    }

    public static string FromNative(IntPtr text) {
        var length = 0;
        while (Marshal.ReadByte(text, length) != 0) ++length;
        return FromNative(text, length);
    }

    public static string FromNative(IntPtr text, int length) {
        var bytes = new byte[length];
        Marshal.Copy(text, bytes, 0, length);
        return Encoding.UTF8.GetString(bytes);
    }
}

/// Bytes that stay where they are, for the pointers inside a structure.
sealed class NativeText : SafeHandle {
    readonly int m_size;

    public NativeText(int size) : base(IntPtr.Zero, true) {
        m_size = size;
        SetHandle(Marshal.AllocHGlobal(size));
    }

    public NativeText(string text) : this(Encoding.UTF8.GetByteCount(text ?? "")) {
        Marshal.Copy(Texts.Utf8(text), 0, handle, m_size);
    }

    public override bool IsInvalid { get { return handle == IntPtr.Zero; } }

    public Native.Text AsText() { return new Native.Text { Data = handle, Length = (UIntPtr)m_size }; }

    public Native.TextBuffer AsBuffer() { return new Native.TextBuffer { Data = handle, Capacity = (UIntPtr)m_size }; }

    protected override bool ReleaseHandle() {
        Marshal.FreeHGlobal(handle);
        return true;
    }
}

static class Native {
#if QOLIVE_LINUX
    const string Name = "libQoLiveReport.so.0";
#else
    const string Name = "QoLiveReport";
#endif
    const CallingConvention C = CallingConvention.Cdecl;
    public const int TooSmall = -3;
    public const int HeartbeatNumbers = 23;

    [UnmanagedFunctionPointer(C)]
    public delegate void LogSink(IntPtr user, int level, IntPtr line);

    [UnmanagedFunctionPointer(C)]
    public delegate void StatusSink(IntPtr user, int main, int state, IntPtr reason);

    [StructLayout(LayoutKind.Sequential)]
    public struct Text {
        public IntPtr Data;
        public UIntPtr Length;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct TextBuffer {
        public IntPtr Data;
        public UIntPtr Capacity, Length;

        public string Read() { return Texts.FromNative(Data, (int)Length); }
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct HeartBaseConfig {
        public UIntPtr Size;
        public int IntValue1, IntValue2;
        public long Int64Value1, Int64Value2;
        public Text TextValue1, TextValue2;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct CenterStatus {
        public UIntPtr Size;
        public TextBuffer Reason;
        public long SinceMs;
        public int State;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct HeartbeatData {
        public UIntPtr Size;
        public TextBuffer SessionId, StreamName, MicStreamName, ChannelId, MixStreamName;

        [MarshalAs(UnmanagedType.ByValArray, SizeConst = HeartbeatNumbers)]
        public int[] Numbers;
    }

    public static int Int(bool value) { return value ? 1 : 0; }

    /// For what only hands something over.
    public static void Do(int result, string function) {
        if (result <= 0) throw new QoLiveException(function, result);
    }

    public static bool Yes(int result, string function) {
        if (result < 0) throw new QoLiveException(function, result);
        return result > 0;
    }

    public static Outcome AsOutcome(int result, string function) {
        if (result < 0) throw new QoLiveException(function, result);
        return (Outcome)result;
    }

    [DllImport(Name, CallingConvention = C)] public static extern uint qolive_version();
    [DllImport(Name, CallingConvention = C)] public static extern IntPtr qolive_version_text();
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_set_log_sink(LogSink sink, IntPtr user);

    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_user_set_login_token(byte[] token, UIntPtr length);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_user_get_login_token(byte[] buffer, UIntPtr capacity, out UIntPtr length);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_user_set_brelo_id(byte[] id, UIntPtr length);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_user_get_brelo_id(byte[] buffer, UIntPtr capacity, out UIntPtr length);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_user_set_tag_room_type(int type);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_user_get_tag_room_type(out int type);

    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_set_talk_living(int living, int sdkId);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_is_talk_living();
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_get_enter_talk_time(out long seconds);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_get_leave_talk_time(out long seconds);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_get_sdk_id(out int id);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_set_mic_type(int type);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_get_mic_type(out int type);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_set_mix_mode(int mode);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_get_mix_mode(out int mode);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_get_is_client_mix();
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_live_info_set_layout_type(byte[] layout, UIntPtr length);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_live_info_get_layout_type(byte[] buffer, UIntPtr capacity, out UIntPtr length);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_set_super_sharp(int on);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_live_info_get_super_sharp();

    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_centers_start(byte[] config, UIntPtr length, ref HeartBaseConfig settings);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_centers_stop();
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_centers_is_have_backup();
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_centers_is_main_start_ok();
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_centers_get(int main, out IntPtr center);

    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_centers_get_status(int main, ref CenterStatus status);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_centers_get_counters(int main, ref CenterCounters counters);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_centers_set_status_sink(StatusSink sink, IntPtr user);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_centers_renew_access_token(byte[] token, UIntPtr length, long expireTime);

    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_update_live_status(int live);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_update_mic_status(int on);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_update_push_status(int status);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_update_mic_push_status(int status);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_update_mix_stream_status(int status);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_heartbeat_update_live_id(byte[] id, UIntPtr length);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_heartbeat_update_live_business_info(int appId, int business);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_heartbeat_update_live_stream_info(byte[] name, UIntPtr nameLength, int sid, int width,
                                                                      int height, int codec);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_heartbeat_update_mic_info(int appId, int business, byte[] name, UIntPtr nameLength, int sid,
                                                              int width, int height, int codec, int role, byte[] channel,
                                                              UIntPtr channelLength, int mixMode);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_heartbeat_update_mix_stream_info(byte[] name, UIntPtr nameLength, int width, int height,
                                                                     int sid, int codec);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_update_mix_mode(int mode);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_update_data_state(int changed);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_heartbeat_get_session_id(byte[] buffer, UIntPtr capacity, out UIntPtr length);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_get_data(ref HeartbeatData data);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_heartbeat_get_last_report_tm(ref long mainMs, ref long backupMs);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_is_connecting();
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_heartbeat_send_command(int bizType, byte[] data, UIntPtr length);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_heartbeat_get_command_counters(ref CommandCounters counters);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_start();
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_start_backup();
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_stop();
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_heartbeat_manager_start(byte[] config, UIntPtr length, ref int mode);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_heartbeat_manager_stop();

    [DllImport(Name, CallingConvention = C)] public static extern int qolive_streams_init();
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_streams_is_connected();
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_streams_get_tick_count_ms(out ulong milliseconds);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_streams_report_start(byte[] id, UIntPtr length, int type);
    [DllImport(Name, CallingConvention = C)] public static extern int qolive_streams_report_stop(byte[] id, UIntPtr length);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_streams_add_report_data(byte[] id, UIntPtr length, int type, long value);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_streams_add_report_string_data(byte[] id, UIntPtr length, int type, byte[] value,
                                                                   UIntPtr valueLength);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_streams_report_event_data(byte[] id, UIntPtr length, int type, byte[] json,
                                                              UIntPtr jsonLength);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_streams_get_record_counters(ref RecordCounters counters);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_streams_set_record_bound(ulong mostRecords, ulong mostBytes);
    [DllImport(Name, CallingConvention = C)]
    public static extern int qolive_streams_send_stream_report(byte[] record, UIntPtr recordLength, byte[] head,
                                                               UIntPtr headLength, byte[] sent, UIntPtr capacity,
                                                               out UIntPtr sentLength);
}

}  // namespace QoLiveReport
