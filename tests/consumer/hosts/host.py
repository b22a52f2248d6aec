"""host.py PORT ENDING LIBRARY: a host in Python. ENDING is "stop", or "return" to leave everything running."""
import ctypes
import gc
import sys
import time

port, ending, path = sys.argv[1:]
library = ctypes.CDLL(path)
Sink = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int, ctypes.c_char_p)
lines = []


class Text(ctypes.Structure):
    _fields_ = [("data", ctypes.c_char_p), ("length", ctypes.c_size_t)]


class Base(ctypes.Structure):
    _fields_ = [("size", ctypes.c_size_t), ("int_value1", ctypes.c_int32), ("int_value2", ctypes.c_int32),
                ("int64_value1", ctypes.c_int64), ("int64_value2", ctypes.c_int64),
                ("text_value1", Text), ("text_value2", Text)]


def size(value):
    return ctypes.c_size_t(value)


def become(condition):
    end = time.monotonic() + 20
    while not condition():
        if time.monotonic() > end:
            sys.exit("not in time")
        time.sleep(0.005)


@Sink
def sink(_user, _level, line):
    lines.append(line.decode(errors="replace"))


base = Base(size=ctypes.sizeof(Base))
mode = ctypes.c_int32()
servers = b'{"gatewayDns":{"main":["127.0.0.1:%s"],"backup":["127.0.0.1:%s"]}}' % (port.encode(), port.encode())
library.qolive_set_log_sink(sink, None)
assert library.qolive_centers_start(servers, size(len(servers)), ctypes.byref(base)) == 1
assert library.qolive_heartbeat_manager_start(b"{}", size(2), ctypes.byref(mode)) == 1
assert library.qolive_streams_init() == 1
become(lambda: library.qolive_heartbeat_is_connecting() == 1 and library.qolive_streams_is_connected() == 1)
library.qolive_streams_report_start(b"anchor", size(6), 0)
for turn in range(20):
    library.qolive_streams_add_report_data(b"anchor", size(6), 2, ctypes.c_int64(1))
    library.qolive_streams_report_event_data(b"anchor", size(6), 1, b"{}", size(2))
    library.qolive_heartbeat_update_live_status(turn % 2)
    gc.collect()
    time.sleep(0.04)
assert lines
print("ending", flush=True)
if ending == "stop":
    library.qolive_streams_report_stop(b"anchor", size(6))
    assert library.qolive_heartbeat_manager_stop() == 1
    assert library.qolive_centers_stop() == 1
