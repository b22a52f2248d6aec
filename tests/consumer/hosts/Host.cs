// Host.exe PORT ENDING: a host in C#. ENDING is "stop", or "return" to leave everything running.

using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;
using System.Threading;

static class Host {
    const string Library = "QoLiveReport";

    [StructLayout(LayoutKind.Sequential)]
    struct Text {
        public IntPtr Data;
        public UIntPtr Length;
    }

    [StructLayout(LayoutKind.Sequential)]
    struct Base {
        public UIntPtr Size;
        public int IntValue1, IntValue2;
        public long Int64Value1, Int64Value2;
        public Text TextValue1, TextValue2;
    }

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    delegate void Sink(IntPtr user, int level, IntPtr line);

    [DllImport(Library)] static extern int qolive_set_log_sink(Sink sink, IntPtr user);
    [DllImport(Library)] static extern int qolive_centers_start(byte[] config, UIntPtr length, ref Base b);
    [DllImport(Library)] static extern int qolive_centers_stop();
    [DllImport(Library)] static extern int qolive_heartbeat_manager_start(byte[] config, UIntPtr length, out int mode);
    [DllImport(Library)] static extern int qolive_heartbeat_manager_stop();
    [DllImport(Library)] static extern int qolive_heartbeat_is_connecting();
    [DllImport(Library)] static extern int qolive_heartbeat_update_live_status(int live);
    [DllImport(Library)] static extern int qolive_streams_init();
    [DllImport(Library)] static extern int qolive_streams_is_connected();
    [DllImport(Library)] static extern int qolive_streams_report_start(byte[] id, UIntPtr length, int type);
    [DllImport(Library)] static extern int qolive_streams_report_stop(byte[] id, UIntPtr length);
    [DllImport(Library)] static extern int qolive_streams_add_report_data(byte[] id, UIntPtr length, int type, long value);
    [DllImport(Library)]
    static extern int qolive_streams_report_event_data(byte[] id, UIntPtr length, int type, byte[] text, UIntPtr textLength);

    static readonly Sink sink = TakeLine;  // the library keeps only the address
    static readonly List<string> lines = new List<string>();

    static void TakeLine(IntPtr user, int level, IntPtr line) {
        lock (lines) lines.Add(Marshal.PtrToStringAnsi(line));
    }

    static byte[] Bytes(string text) { return Encoding.UTF8.GetBytes(text); }
    static UIntPtr Length(byte[] bytes) { return (UIntPtr)bytes.Length; }

    static void Check(bool good, string what) {
        if (good) return;
        Console.Error.WriteLine("failed: " + what);
        Environment.Exit(1);
    }

    static void Start(string port) {
        var address = "[\"127.0.0.1:" + port + "\"]";
        var servers = Bytes("{\"gatewayDns\":{\"main\":" + address + ",\"backup\":" + address + "}}");
        var b = new Base { Size = (UIntPtr)Marshal.SizeOf(typeof(Base)) };
        int mode;
        qolive_set_log_sink(sink, IntPtr.Zero);
        Check(qolive_centers_start(servers, Length(servers), ref b) == 1, "centers start");
        Check(qolive_heartbeat_manager_start(Bytes("{}"), (UIntPtr)2, out mode) == 1, "heartbeat starts");
        Check(qolive_streams_init() == 1, "streams start");
    }

    static void Feed() {
        var id = Bytes("anchor");
        qolive_streams_report_start(id, Length(id), 0);
        for (int turn = 0; turn < 20; ++turn) {
            qolive_streams_add_report_data(id, Length(id), 2, 1);
            qolive_streams_report_event_data(id, Length(id), 1, Bytes("{}"), (UIntPtr)2);
            qolive_heartbeat_update_live_status(turn % 2);
            GC.Collect();
            GC.WaitForPendingFinalizers();
            Thread.Sleep(40);
        }
    }

    static int Main(string[] arguments) {
        Start(arguments[0]);
        for (int waited = 0; qolive_heartbeat_is_connecting() != 1 || qolive_streams_is_connected() != 1; ++waited) {
            Check(waited < 4000, "connects");
            Thread.Sleep(5);
        }
        Feed();
        lock (lines) Check(lines.Count > 0, "lines");
        Console.WriteLine("ending");
        Console.Out.Flush();
        if (arguments[1] == "return") return 0;
        qolive_streams_report_stop(Bytes("anchor"), (UIntPtr)6);
        Check(qolive_heartbeat_manager_stop() == 1, "heartbeat stops");
        Check(qolive_centers_stop() == 1, "centers stop");
        return 0;
    }
}
