"""host.py PORT ENDING LIBRARY: a host in Python. ENDING is "stop", or "return" to leave everything running."""
import gc
import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "..", "bindings"))
sys.dont_write_bytecode = True
import qolive_report  # noqa: E402

port, ending, path = sys.argv[1:]
report = qolive_report.QoLiveReport(path)
lines = []


def become(condition):
    end = time.monotonic() + 20
    while not condition():
        if time.monotonic() > end:
            sys.exit("not in time")
        time.sleep(0.005)


address = [f"127.0.0.1:{port}"]
report.set_log_sink(lambda level, line: lines.append(line))
assert report.centers.start({"gatewayDns": {"main": address, "backup": address}}) == qolive_report.Outcome.DONE
assert report.heartbeat.manager_start()[0] == qolive_report.Outcome.DONE
assert report.streams.init()
become(lambda: report.heartbeat.is_connecting and report.streams.is_connected)
report.streams.report_start("anchor")
for turn in range(20):
    report.streams.add_report_data("anchor", qolive_report.DataType.VIDEO_FRAMES_SENT, 1)
    report.streams.report_event_data("anchor", qolive_report.EventType.STREAM_START)
    report.heartbeat.update_live_status(turn % 2 == 1)
    gc.collect()
    time.sleep(0.04)
assert lines
print("ending", flush=True)
if ending == "stop":
    report.streams.report_stop("anchor")
    assert report.heartbeat.manager_stop()
    report.centers.stop()
