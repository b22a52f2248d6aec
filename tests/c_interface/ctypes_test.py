"""Drives the real shared library from Python: ctypes_test.py LIBRARY HEADER

Nothing but the C interface is used, declared here independently of the header; a function that the header declares and no
test calls is an error.
"""
import ctypes
import json
import re
import sys
import time
import unittest
from ctypes import POINTER, Structure, byref, c_char_p, c_int32, c_int64, c_size_t, c_uint32, c_uint64, c_void_p

NULL_ARGUMENT, BAD_JSON, TOO_SMALL, BAD_SIZE = -1, -2, -3, -4
# Nothing listens on port 1 of this machine: the centers start and never connect.
SERVERS = b'{"gatewayDns":{"main":["127.0.0.1:1"],"backup":["127.0.0.1:1"]}}'

LIBRARY_PATH, HEADER_PATH = sys.argv[1:3]
called = set()


class Text(Structure):
    _fields_ = [("data", c_char_p), ("length", c_size_t)]


class HeartBaseConfig(Structure):
    _fields_ = [("size", c_size_t), ("int_value1", c_int32), ("int_value2", c_int32), ("int64_value1", c_int64),
                ("int64_value2", c_int64), ("text_value1", Text), ("text_value2", Text)]


class TextBuffer(Structure):
    _fields_ = [("data", c_void_p), ("capacity", c_size_t), ("length", c_size_t)]


TEXT_FIELDS = ["session_id", "stream_name", "mic_stream_name", "channel_id", "mix_stream_name"]
NUMBER_FIELDS = ["live_status", "mic_status", "video_app_id", "business", "sid", "width", "height", "codec", "push_status",
                 "mic_video_app_id", "mic_business", "mic_sid", "mic_width", "mic_height", "mic_codec", "mic_push_status",
                 "role", "mix_mode", "mix_width", "mix_height", "mix_status", "mix_sid", "mix_codec"]


class HeartbeatData(Structure):
    _fields_ = ([("size", c_size_t)] + [(name, TextBuffer) for name in TEXT_FIELDS]
                + [(name, c_int32) for name in NUMBER_FIELDS])


class CommandCounters(Structure):
    _fields_ = [("size", c_size_t)] + [(name, c_uint64) for name in ("queued", "handed_over", "dropped", "waiting")]


class RecordCounters(Structure):
    _fields_ = [("size", c_size_t)] + [(name, c_uint64) for name in
                                       ("queued", "handed_over", "lost_at_disconnect", "dropped_by_bound", "waiting",
                                        "waiting_bytes", "oldest_waiting_ms")]


COUNTERS = ["accepted", "published", "acknowledged", "refused", "dropped_unusable", "dropped_late", "dropped_at_reconnect",
            "dropped_at_stop", "not_accepted_full", "not_accepted_unconnected", "reconnects", "waiting", "waiting_records"]


class CenterStatus(Structure):
    _fields_ = [("size", c_size_t), ("reason", TextBuffer), ("since_ms", c_int64), ("state", c_int32)]


class CenterCounters(Structure):
    _fields_ = ([("size", c_size_t)] + [(name, c_uint64) for name in COUNTERS] + [("oldest_waiting_ms", c_int64)])


class Library:
    """Calls by name; a bytes argument becomes pointer and length, int the C type that `i32` and so on give it."""

    def __init__(self, path):
        self._library = ctypes.CDLL(path)

    def __getattr__(self, name):
        function = getattr(self._library, "qolive_" + name)
        function.restype = {"version": c_uint32, "version_text": c_char_p}.get(name, c_int32)

        def call(*arguments):
            called.add("qolive_" + name)
            flat = []
            for argument in arguments:
                if isinstance(argument, bytes):
                    flat += [c_char_p(argument), c_size_t(len(argument))]
                elif isinstance(argument, int):
                    flat.append(c_int32(argument))
                else:
                    flat.append(argument)
            return function(*flat)

        return call

    def text(self, name):
        length = c_size_t()
        if getattr(self, name)(None, c_size_t(0), byref(length)) != TOO_SMALL:
            return b""
        buffer = ctypes.create_string_buffer(length.value)
        assert getattr(self, name)(buffer, length, byref(length)) == 1
        return buffer.raw[:length.value]

    def number(self, name, kind=c_int32):
        number = kind(-77)
        assert getattr(self, name)(byref(number)) == 1
        return number.value


library = Library(LIBRARY_PATH)
SINK = ctypes.CFUNCTYPE(None, c_void_p, ctypes.c_int, c_char_p)
lines = []
sink = SINK(lambda _, level, line: lines.append((level, line)))
STATUS_SINK = ctypes.CFUNCTYPE(None, c_void_p, ctypes.c_int, ctypes.c_int, c_char_p)
changes = []
status_sink = STATUS_SINK(lambda _, main, state, reason: changes.append((main, state, reason)))


def setUpModule():
    assert library.set_log_sink(sink, None) == 1
    assert library.centers_set_status_sink(status_sink, None) == 1


def tearDownModule():
    library.heartbeat_stop()
    library.centers_stop()
    library.centers_set_status_sink(STATUS_SINK(), None)
    library.set_log_sink(SINK(), None)
    with open(HEADER_PATH, encoding="utf-8") as header:
        declared = set(re.findall(r"\b(qolive_\w+)\(", re.sub(r"//.*", "", header.read())))
    declared -= {"qolive_log_sink", "qolive_center_status_sink"}
    assert declared - called == set(), f"never called: {sorted(declared - called)}"


def base_config(**values):
    return HeartBaseConfig(size=ctypes.sizeof(HeartBaseConfig), int_value2=2, **values)


class Session(unittest.TestCase):
    def test_version(self):
        parts = [int(part) for part in library.version_text().decode().split(".")]
        self.assertEqual(library.version(), parts[0] * 1000000 + parts[1] * 1000 + parts[2])

    def test_user(self):
        self.assertEqual(library.user_set_login_token("tökén\0".encode()), 1)
        self.assertEqual(library.text("user_get_login_token"), "tökén\0".encode())
        self.assertEqual(library.user_set_brelo_id(b"id"), 1)
        self.assertEqual(library.text("user_get_brelo_id"), b"id")
        self.assertEqual(library.user_set_brelo_id(None, c_size_t(0)), 1)
        self.assertEqual(library.text("user_get_brelo_id"), b"")
        self.assertEqual(library.user_set_brelo_id(None, c_size_t(3)), NULL_ARGUMENT)
        self.assertEqual(library.user_set_tag_room_type(-5), 1)
        self.assertEqual(library.number("user_get_tag_room_type"), -5)

    def test_talk_session(self):
        system = ctypes.CDLL(None)
        system.time.restype = c_int64
        before = system.time(None)  # Python's clock may be a tick ahead
        self.assertEqual(library.live_info_set_talk_living(1, 7), 1)
        self.assertEqual(library.live_info_is_talk_living(), 1)
        self.assertEqual(library.number("live_info_get_sdk_id"), 7)
        self.assertGreaterEqual(library.number("live_info_get_enter_talk_time", c_int64), before)
        self.assertEqual(library.number("live_info_get_leave_talk_time", c_int64), 0)
        self.assertEqual(library.live_info_set_talk_living(0, 0), 1)
        self.assertEqual(library.live_info_is_talk_living(), 0)
        self.assertGreaterEqual(library.number("live_info_get_leave_talk_time", c_int64), before)

    def test_settings(self):
        self.assertEqual(library.live_info_set_mic_type(3), 1)
        self.assertEqual(library.number("live_info_get_mic_type"), 3)
        self.assertEqual(library.live_info_set_mix_mode(2), 1)
        self.assertEqual(library.number("live_info_get_mix_mode"), 2)
        self.assertEqual(library.live_info_get_is_client_mix(), 1)
        self.assertEqual(library.text("live_info_get_layout_type"), b"none")
        self.assertEqual(library.live_info_set_layout_type(b"grid"), 1)
        self.assertEqual(library.text("live_info_get_layout_type"), b"grid")
        self.assertEqual(library.live_info_set_super_sharp(1), 1)
        self.assertEqual(library.live_info_get_super_sharp(), 1)


class Running(unittest.TestCase):
    def setUp(self):
        base = base_config(text_value1=Text(b"python", 6))
        self.assertEqual(library.centers_start(SERVERS, byref(base)), 1)

    def tearDown(self):
        library.heartbeat_stop()
        self.assertEqual(library.centers_stop(), 1)

    def test_centers(self):
        self.assertEqual(library.centers_start(SERVERS, byref(base_config())), 2)
        self.assertEqual(library.centers_is_main_start_ok(), 1)
        self.assertEqual(library.centers_is_have_backup(), 1)
        main, backup = c_void_p(), c_void_p()
        self.assertEqual(library.centers_get(1, byref(main)), 1)
        self.assertEqual(library.centers_get(0, byref(backup)), 1)
        self.assertNotEqual(main.value, backup.value)
        self.assertEqual(library.centers_stop(), 1)
        self.assertEqual(library.centers_is_main_start_ok(), 0)
        self.assertEqual(library.centers_start(b"{}", byref(base_config())), 0)
        wrong = base_config()
        wrong.size = 8
        self.assertEqual(library.centers_start(SERVERS, byref(wrong)), BAD_SIZE)
        self.assertTrue(any(line.startswith(b"[LiveState] CMsgCenterFactory::Stop") for _, line in lines))

    def test_center_status_and_counters(self):
        buffer = ctypes.create_string_buffer(500)
        status = CenterStatus(size=ctypes.sizeof(CenterStatus))
        status.reason = TextBuffer(ctypes.cast(buffer, c_void_p), 500, 0)
        deadline = time.time() + 30
        while status.state != 4 and time.time() < deadline:  # waiting: nothing listens there
            self.assertEqual(library.centers_get_status(1, byref(status)), 1)
        self.assertIn(b"cannot connect to 127.0.0.1:1", buffer.raw[:status.reason.length])
        self.assertLess(abs(status.since_ms - time.time() * 1000), 60000)
        counters = CenterCounters(size=ctypes.sizeof(CenterCounters))
        self.assertEqual(library.centers_get_counters(0, byref(counters)), 1)
        self.assertEqual([getattr(counters, name) for name in COUNTERS], [0] * len(COUNTERS))
        self.assertEqual(counters.oldest_waiting_ms, 0)
        self.assertEqual(library.centers_renew_access_token(b"hush-hush", c_int64(1)), 1)
        while status.state != 6 and time.time() < deadline:  # expired in 1970
            self.assertEqual(library.centers_get_status(1, byref(status)), 1)
        self.assertEqual(library.centers_renew_access_token(b"hush\0hush", c_int64(0)), 0)
        self.assertEqual(library.centers_stop(), 1)
        self.assertEqual(library.centers_renew_access_token(b"hush-hush", c_int64(0)), 0)
        self.assertTrue(any(b"access token was not renewed: not started" in line for _, line in lines))
        self.assertFalse(any(b"hush" in line for _, line in lines))
        for main in (0, 1):
            self.assertIn((main, 2, b"starting"), changes)
            self.assertIn((main, 1, b"stopped"), changes)

    def test_heartbeat_state(self):
        self.assertEqual(library.heartbeat_update_live_status(1), 1)
        self.assertEqual(library.heartbeat_update_mic_status(1), 1)
        self.assertEqual(library.heartbeat_update_live_id("séance".encode()), 1)
        self.assertEqual(library.heartbeat_update_live_business_info(101, 102), 1)
        self.assertEqual(library.heartbeat_update_live_stream_info(b"stream", 103, 104, 105, 106), 1)
        self.assertEqual(library.heartbeat_update_push_status(107), 1)
        self.assertEqual(library.heartbeat_update_mic_info(108, 109, b"mic", 110, 111, 112, 113, 114, b"channel", 115), 1)
        self.assertEqual(library.heartbeat_update_mic_push_status(116), 1)
        self.assertEqual(library.heartbeat_update_mix_stream_info(b"mix", 117, 118, 119, 120), 1)
        self.assertEqual(library.heartbeat_update_mix_stream_status(121), 1)
        self.assertEqual(library.heartbeat_update_mix_mode(122), 1)
        self.assertEqual(library.heartbeat_update_data_state(1), 1)
        self.assertEqual(library.text("heartbeat_get_session_id"), "séance".encode())

        data = HeartbeatData(size=ctypes.sizeof(HeartbeatData))
        buffers = {name: ctypes.create_string_buffer(16) for name in TEXT_FIELDS}
        for name, buffer in buffers.items():
            setattr(data, name, TextBuffer(ctypes.cast(buffer, c_void_p), 16, 0))
        self.assertEqual(library.heartbeat_get_data(byref(data)), 1)
        self.assertEqual([buffers[name].raw[:getattr(data, name).length] for name in TEXT_FIELDS],
                         ["séance".encode(), b"stream", b"mic", b"channel", b"mix"])
        self.assertEqual([getattr(data, name) for name in NUMBER_FIELDS],
                         [1, 1, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111, 112, 113, 116, 114, 122, 117, 118,
                          121, 119, 120])

    def test_heartbeat_run(self):
        self.assertEqual(library.heartbeat_send_command(1, b"early"), 0)
        mode = c_int32(9)
        self.assertEqual(library.heartbeat_manager_start(b'{"heartbeatMode":1}', byref(mode)), 1)
        self.assertEqual(mode.value, 1)
        self.assertEqual(library.heartbeat_start(), 2)
        self.assertEqual(library.heartbeat_start_backup(), 0)
        self.assertEqual(library.heartbeat_send_command(1, b"{}"), 1)
        self.assertEqual(library.heartbeat_is_connecting(), 0)
        commands = CommandCounters(size=ctypes.sizeof(CommandCounters))
        self.assertEqual(library.heartbeat_get_command_counters(byref(commands)), 1)
        self.assertEqual([commands.queued, commands.handed_over, commands.dropped, commands.waiting], [1, 0, 0, 1])
        main, backup = c_int64(), c_int64()
        self.assertEqual(library.heartbeat_get_last_report_tm(byref(main), byref(backup)), 1)
        self.assertEqual((main.value, backup.value), (-1, -1))
        self.assertEqual(library.heartbeat_manager_stop(), 0)
        self.assertEqual(library.heartbeat_stop(), 0)

    def test_streams(self):
        now = library.number("streams_get_tick_count_ms", c_uint64)
        self.assertLess(abs(now - time.time() * 1000), 60000)
        self.assertEqual(library.streams_init(), 1)
        self.assertEqual(library.streams_is_connected(), 0)
        self.assertEqual(library.streams_report_start(b"s", 1), 1)
        self.assertEqual(library.streams_add_report_data(b"s", 9, c_int64(1 << 40)), 1)
        self.assertEqual(library.streams_add_report_string_data(b"s", 0, b"rtmp"), 1)
        self.assertEqual(library.streams_report_event_data(b"s", 1, b"{"), BAD_JSON)
        self.assertEqual(library.streams_report_event_data(b"s", 1, b"{}"), 1)
        length = c_size_t()
        buffer = ctypes.create_string_buffer(200)
        self.assertEqual(library.streams_send_stream_report(b"[1]", b'{"type":9}', buffer, c_size_t(200), byref(length)), 1)
        head = json.loads(buffer.raw[:length.value])
        self.assertEqual(head["type"], 9)
        self.assertTrue(head["mid"].isdigit())
        records = RecordCounters(size=ctypes.sizeof(RecordCounters))
        self.assertEqual(library.streams_set_record_bound(c_uint64(1), c_uint64(0)), 1)
        self.assertEqual(library.streams_get_record_counters(byref(records)), 1)
        self.assertEqual([records.queued, records.dropped_by_bound, records.waiting], [2, 1, 1])
        self.assertEqual([records.handed_over, records.lost_at_disconnect], [0, 0])
        self.assertEqual(records.waiting_bytes, len(b"[1]\n") + length.value + 1)
        records.size -= 1
        self.assertEqual(library.streams_get_record_counters(byref(records)), BAD_SIZE)
        self.assertEqual(library.streams_set_record_bound(c_uint64(0), c_uint64(0)), 1)
        self.assertEqual(library.streams_report_stop(b"s"), 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
