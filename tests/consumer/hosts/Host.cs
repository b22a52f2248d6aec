// Host.exe PORT ENDING: a host in C#. ENDING is "stop", or "return" to leave everything running.

using System;
using System.Collections.Generic;
using System.Threading;
using QoLiveReport;

static class Host {
    static readonly List<string> lines = new List<string>();

    static void TakeLine(int level, string line) {
        lock (lines) lines.Add(line);
    }

    static void Check(bool good, string what) {
        if (good) return;
        Console.Error.WriteLine("failed: " + what);
        Environment.Exit(1);
    }

    static void Start(string port) {
        var address = "[\"127.0.0.1:" + port + "\"]";
        Log.SetSink(TakeLine);
        Check(Centers.Start("{\"gatewayDns\":{\"main\":" + address + ",\"backup\":" + address + "}}") == Outcome.Done,
              "centers start");
        Check(Heartbeat.ManagerStart() == Outcome.Done, "heartbeat starts");
        Check(Streams.Init(), "streams start");
    }

    static void Feed() {
        Streams.ReportStart("anchor");
        for (int turn = 0; turn < 20; ++turn) {
            Streams.AddReportData("anchor", DataType.VideoFramesSent, 1);
            Streams.ReportEventData("anchor", EventType.StreamStart);
            Heartbeat.UpdateLiveStatus(turn % 2 == 1);
            GC.Collect();
            GC.WaitForPendingFinalizers();
            Thread.Sleep(40);
        }
    }

    static int Main(string[] arguments) {
        Start(arguments[0]);
        for (int waited = 0; !Heartbeat.IsConnecting || !Streams.IsConnected; ++waited) {
            Check(waited < 4000, "connects");
            Thread.Sleep(5);
        }
        Feed();
        lock (lines) Check(lines.Count > 0, "lines");
        Console.WriteLine("ending");
        Console.Out.Flush();
        if (arguments[1] == "return") return 0;
        Streams.ReportStop("anchor");
        Check(Heartbeat.ManagerStop(), "heartbeat stops");
        Centers.Stop();
        return 0;
    }
}
