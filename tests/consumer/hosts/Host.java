// Host PORT ENDING: a host in Java, through the functions in host_jni.c. ENDING is "stop", or "return" to leave
// everything running.

import java.util.ArrayList;
import java.util.List;

final class Host {
    static native boolean start(String servers);
    static native boolean isConnected();
    static native void feed(int turn);
    static native boolean stop();

    private static final List<String> lines = new ArrayList<>();

    /** Called by the log sink, on any thread. */
    static void takeLine(String line) {
        synchronized (lines) {
            lines.add(line);
        }
    }

    private static void check(boolean good, String what) {
        if (good) return;
        System.err.println("failed: " + what);
        Runtime.getRuntime().halt(1);
    }

    public static void main(String[] arguments) throws InterruptedException {
        System.loadLibrary("host_jni");
        String address = "[\"127.0.0.1:" + arguments[0] + "\"]";
        check(start("{\"gatewayDns\":{\"main\":" + address + ",\"backup\":" + address + "}}"), "start");
        for (int waited = 0; !isConnected(); ++waited) {
            check(waited < 4000, "connects");
            Thread.sleep(5);
        }
        for (int turn = 0; turn < 20; ++turn) {
            feed(turn);
            System.gc();
            Thread.sleep(40);
        }
        synchronized (lines) {
            check(!lines.isEmpty(), "lines");
        }
        System.out.println("ending");
        System.out.flush();
        if (arguments[1].equals("stop")) check(stop(), "stop");
    }
}
