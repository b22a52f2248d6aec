// Calls everything of bindings/QoLiveReport.cs. Exit code 0 when all is as it has to be.

using System;
using System.Collections.Generic;
using System.Threading;
using QoLiveReport;

static class BindingTest {
    // Nothing listens on port 1 of this machine: the centers start and never connect.
    const string Servers = "{\"gatewayDns\":{\"main\":[\"127.0.0.1:1\"],\"backup\":[\"127.0.0.1:1\"]}}";
    static readonly List<string> s_lines = new List<string>();
    static int s_failures;

    static void Same<T>(T expected, T found, string what) {
        if (Equals(expected, found)) return;
        Console.Error.WriteLine("{0}: expected '{1}', found '{2}'", what, expected, found);
        ++s_failures;
    }

    static void Refused(int code, string words, Action call) {
        try {
            call();
            Same("a refusal", "none", words);
        } catch (QoLiveException refusal) {
            Same(code, refusal.Code, words);
            Same(true, refusal.Message.StartsWith(refusal.Function) && refusal.Message.Contains(words), refusal.Message);
        }
    }

    static void TakeLine(int level, string line) {
        lock (s_lines) s_lines.Add(line);
        throw new InvalidOperationException("must not get across");
    }

    static void Session() {
        var parts = Library.VersionText.Split('.');
        Same(uint.Parse(parts[0]) * 1000000 + uint.Parse(parts[1]) * 1000 + uint.Parse(parts[2]), Library.Version, "version");
        User.LoginToken = "tökén\0";
        Same("tökén\0", User.LoginToken, "login token");
        User.BreloId = new string('é', 1000);
        Same(new string('é', 1000), User.BreloId, "a long text");
        User.BreloId = null;
        Same("", User.BreloId, "no text");
        User.TagRoomType = -5;
        Same(-5, User.TagRoomType, "room type");
        LiveInfo.SetTalkLiving(true, 7);
        Same(true, LiveInfo.IsTalkLiving, "talks");
        Same(7, LiveInfo.SdkId, "sdk id");
        Same(true, LiveInfo.EnterTalkTime > 1600000000, "enter time");
        Same(0, LiveInfo.LeaveTalkTime, "leave time");
        LiveInfo.MicType = 3;
        Same(3, LiveInfo.MicType, "mic type");
        LiveInfo.MixMode = 2;
        Same(2, LiveInfo.MixMode, "mix mode");
        Same(true, LiveInfo.IsClientMix, "client mix");
        LiveInfo.LayoutType = "grid";
        Same("grid", LiveInfo.LayoutType, "layout");
        LiveInfo.SuperSharp = true;
        Same(true, LiveInfo.SuperSharp, "super sharp");
    }

    static void Connections() {
        Same(Outcome.Failed, Centers.Start("{}"), "no servers");
        Refused(0, "not started", () => Centers.Started("{}"));
        Same(Outcome.Failed, Centers.Start(Servers, new HeartBaseConfig { TextValue1 = "no.dots" }), "a name with dots");
        using (Centers.Started(Servers, new HeartBaseConfig { IntValue1 = 15, IntValue2 = 2, Int64Value1 = 30000,
                                                              Int64Value2 = 9, TextValue1 = "csharp" })) {
            Same(Outcome.Already, Centers.Start(Servers), "a second start");
            Refused(2, "was started before", () => Centers.Started(Servers));
            Same(true, Centers.IsMainStartOk, "main");
            Same(true, Centers.HasBackup, "backup");
            Same(true, Centers.Get(true) != IntPtr.Zero && Centers.Get(true) != Centers.Get(false), "two centers");
        }
        Same(false, Centers.IsMainStartOk, "stopped");
    }

    static void Watch() {
        var changes = new List<string>();
        Centers.SetStatusSink((main, state, reason) => {
            lock (changes) changes.Add(main + " " + state + " " + reason);
            throw new InvalidOperationException("must not get across");
        });
        Same(false, Centers.RenewAccessToken("early"), "no center yet");
        using (Centers.Started(Servers)) {
            Same(true, Centers.RenewAccessToken("later", 1L << 40), "renew");
            for (var turn = 0; turn < 3000 && Centers.GetStatus(true).State != CenterState.Waiting; ++turn) Thread.Sleep(10);
            var status = Centers.GetStatus(true);
            Same(true, status.Reason.Contains("cannot connect to 127.0.0.1:1"), status.Reason);
            Same(true, status.SinceMs > 1600000000000, "since");
            var counters = Centers.GetCounters(false);
            Same(0UL, counters.Accepted + counters.Reconnects + counters.WaitingRecords, "counters");
            Same(0L, counters.OldestWaitingMs, "nothing waits");
        }
        Centers.SetStatusSink(null);
        foreach (var main in new[] { "True", "False" })
            foreach (var change in new[] { " Connecting starting", " Stopped stopped" })
                Same(true, changes.Contains(main + change), main + change);
    }

    static void State() {
        Heartbeat.UpdateLiveStatus(true);
        Heartbeat.UpdateMicStatus(true);
        Heartbeat.UpdateLiveId("séance" + new string('x', 100));
        Heartbeat.UpdateLiveBusinessInfo(101, 102);
        Heartbeat.UpdateLiveStreamInfo("stream", 103, 104, 105, 106);
        Heartbeat.UpdatePushStatus(107);
        Heartbeat.UpdateMicInfo(108, 109, "mic", 110, 111, 112, 113, 114, "channel", 115);
        Heartbeat.UpdateMicPushStatus(116);
        Heartbeat.UpdateMixStreamInfo("mix", 117, 118, 119, 120);
        Heartbeat.UpdateMixStreamStatus(121);
        Heartbeat.UpdateMixMode(122);
        Heartbeat.UpdateDataState(true);
        Same("séance" + new string('x', 100), Heartbeat.SessionId, "session id");
        var d = Heartbeat.GetData();
        Same(Heartbeat.SessionId + " stream mic channel mix",
             string.Join(" ", d.SessionId, d.StreamName, d.MicStreamName, d.ChannelId, d.MixStreamName), "texts");
        Same("1 1 101 102 103 104 105 106 107 108 109 110 111 112 113 116 114 122 117 118 121 119 120",
             string.Join(" ", d.LiveStatus, d.MicStatus, d.VideoAppId, d.Business, d.Sid, d.Width, d.Height, d.Codec,
                         d.PushStatus, d.MicVideoAppId, d.MicBusiness, d.MicSid, d.MicWidth, d.MicHeight, d.MicCodec,
                         d.MicPushStatus, d.Role, d.MixMode, d.MixWidth, d.MixHeight, d.MixStatus, d.MixSid, d.MixCodec),
             "numbers");
    }

    static void Beating() {
        int? mode;
        long? main, backup;
        Same(false, Heartbeat.SendCommand(1, "early"), "no heartbeat yet");
        Same(Outcome.Done, Heartbeat.ManagerStart("{\"heartbeatMode\":1}", out mode), "start");
        Same((int?)1, mode, "mode");
        Same(Outcome.Already, Heartbeat.ManagerStart(), "a second start");
        Same(Outcome.Already, Heartbeat.Start(), "a third start");
        Same(false, Heartbeat.StartBackup(), "backup is there");
        Same(true, Heartbeat.SendCommand(1, "{}"), "command");
        var commands = Heartbeat.GetCommandCounters();
        Same("1 0 0 1", string.Join(" ", commands.Queued, commands.HandedOver, commands.Dropped, commands.Waiting), "commands");
        Same(false, Heartbeat.IsConnecting, "nothing listens");
        Heartbeat.GetLastReportTm(out main, out backup);
        Same(true, main == null && backup == null, "no report");
        Same(false, Heartbeat.ManagerStop(), "stop");
        Same(false, Heartbeat.Stop(), "a second stop");
    }

    static void Reports() {
        Same(true, Math.Abs((DateTime.UtcNow - new DateTime(1970, 1, 1)).TotalMilliseconds - Streams.GetTickCountMs()) < 60000,
             "time");
        Same(null, Streams.SendStreamReport("{}"), "not initialised");
        Same(true, Streams.Init(), "init");
        Same(false, Streams.IsConnected, "nothing listens");
        Streams.ReportStart("s", StreamType.EventsOnly);
        Streams.AddReportData("s", DataType.VideoBytesSent, 1L << 40);
        Streams.AddReportStringData("s", StringType.Url, "rtmp");
        Refused(-2, "does not parse", () => Streams.ReportEventData("s", EventType.StreamStart, "{"));
        Streams.ReportEventData("s", EventType.StreamStart);
        var head = Streams.SendStreamReport("[1]", "{\"type\":9}");
        Same(true, head.StartsWith("{\"mid\":\"") && head.EndsWith("\",\"type\":9}"), head);
        Streams.SetRecordBound(1, 1UL << 40);
        var records = Streams.GetRecordCounters();
        Same("2 0 0 1 1", string.Join(" ", records.Queued, records.HandedOver, records.LostAtDisconnect, records.DroppedByBound,
                                      records.Waiting), "records");
        Same(true, records.WaitingBytes > 20 && records.OldestWaitingMs < 60000, "waiting records");
        Streams.SetRecordBound(0, 0);
        Streams.ReportStop("s");
    }

    static int Main() {
        Log.SetSink(TakeLine);
        Session();
        Connections();
        Watch();
        using (Centers.Started(Servers)) {
            State();
            Reports();
            Beating();
        }
        Centers.Stop();
        Log.SetSink(null);
        lock (s_lines) Same(true, s_lines.Exists(line => line.Contains("CMsgCenterFactory::Start")), "lines");
        return s_failures == 0 ? 0 : 1;
    }
}
