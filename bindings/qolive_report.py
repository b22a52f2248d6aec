"""QoLiveReport for Python: the C interface (qolive_report.h) in one file, with nothing but the standard library.

    import qolive_report

    report = qolive_report.QoLiveReport()  # or with the path of the library
    report.set_log_sink(lambda level, line: print(line))
    with report.centers.started({"gatewayDns": {"main": ["a.example:8883"], "backup": []}}):
        report.heartbeat.manager_start()
        report.heartbeat.update_live_status(True)
        ...
        report.heartbeat.manager_stop()

qolive_report.h tells what each operation does, which threads may call it and whether it blocks; the names are the same without
"qolive_". Texts are str (sent as UTF-8) or bytes, JSON is what json.dumps takes or a finished text. What the interface refuses
raises QoLiveError; yes and no are returned. No call holds Python's global lock while the library works.
"""
from __future__ import annotations

import atexit
import contextlib
import ctypes
import dataclasses
import enum
import json
import sys
from ctypes import POINTER, byref, c_char_p, c_int, c_int32, c_int64, c_size_t, c_uint32, c_uint64, c_void_p
from typing import Any, Callable, Iterator, NamedTuple, Optional, Tuple, Union

Text = Union[str, bytes]
Json = Union[str, bytes, dict, list, int, float, bool, None]
LogSink = Callable[[int, str], Any]
StatusSink = Callable[[bool, "CenterState", str], Any]


class Outcome(enum.IntEnum):
    """What a start has led to."""
    FAILED = 0
    DONE = 1
    ALREADY = 2  # it ran before, or the heartbeat is switched off


class CenterState(enum.IntEnum):
    """What a center is doing."""
    UNKNOWN = 0
    STOPPED = 1
    CONNECTING = 2
    CONNECTED = 3
    WAITING = 4
    REFUSED = 5
    TOKEN_EXPIRED = 6

    @classmethod
    def _missing_(cls, value: object) -> "CenterState":
        return cls.UNKNOWN  # of a newer library


class StreamType(enum.IntEnum):
    SAMPLED = 0
    EVENTS_ONLY = 1


class DataType(enum.IntEnum):
    """The numeric slots of a stream; 0 to 11 are counters that are added to."""
    VIDEO_FRAMES_CAPTURED = 0
    VIDEO_FRAMES_ENCODED = 1
    VIDEO_FRAMES_SENT = 2
    FRAMES_LOST = 3
    AUDIO_FRAMES_CAPTURED = 4
    AUDIO_FRAMES_ENCODED = 5
    AUDIO_FRAMES_SENT = 6
    UNUSED_COUNTER_7 = 7
    VIDEO_BYTES_ENCODED = 8
    VIDEO_BYTES_SENT = 9
    AUDIO_BYTES_ENCODED = 10
    AUDIO_BYTES_SENT = 11
    UNUSED_SETTING_12 = 12
    PROVIDER = 13
    PROTOCOL = 14
    REQUEST_TIME = 15
    RESPONSE_TIME = 16
    FIRST_FRAME_ARRIVAL_TIME = 17
    ENCODER_TYPE = 18
    VIDEO_WIDTH = 19
    VIDEO_HEIGHT = 20
    CONFIGURED_FRAME_RATE = 21
    CONFIGURED_VIDEO_BITRATE = 22
    CODEC = 23
    CONFIGURED_AUDIO_BITRATE = 24
    STREAM_START_TIME = 25
    STREAM_END_TIME = 26
    FIRST_FRAME_TIME = 27
    NETWORK_TYPE = 28
    UNUSED_SETTING_29 = 29
    APPLICATION_ID = 30
    PID = 31
    USER_ID = 32
    ROOM_ID = 33
    UNUSED_SETTING_34 = 34
    LIVE_TYPE = 35
    CLARITY_LEVEL = 36
    UNUSED_SETTING_37 = 37
    HOST_MEMORY = 38
    UNUSED_SETTING_39 = 39
    STATE = 40
    RESULT_CODE = 41


class StringType(enum.IntEnum):
    """The text slots of a stream."""
    URL = 0
    SERVER_IP = 1
    SESSION_ID = 2
    VERSION = 3
    DEVICE_ID = 4
    PROCESSOR_DESCRIPTION = 5
    STREAM_ID = 6


class EventType(enum.IntEnum):
    STREAM_START = 1
    HOST_RECORD = 3
    FIRST_FRAME = 4


_TOO_SMALL = -3
_WORDS = {
    0: "failed",
    -1: "a null text with a length, or no place for the result",
    -2: "a JSON parameter does not parse",
    _TOO_SMALL: "the buffer is smaller than the text",
    -4: "the size of a structure is too small",
    -5: "out of memory",
    -6: "an error of the runtime or of a library underneath",
}


class QoLiveError(Exception):
    """The library refused a call. `code` is its result, `function` its name in qolive_report.h."""

    def __init__(self, function: str, code: int, words: str = "") -> None:
        super().__init__(f"{function}: {words or _WORDS.get(code, 'error')} ({code})")
        self.function = function
        self.code = code


@dataclasses.dataclass(frozen=True)
class HeartBaseConfig:
    """What the message center is told beside its servers; qolive_heart_base_config tells the meanings."""
    int_value1: int = 0
    int_value2: int = 0
    int64_value1: int = 0
    int64_value2: int = 0
    text_value1: Text = ""
    text_value2: Text = ""


class _Text(ctypes.Structure):
    _fields_ = [("data", c_char_p), ("length", c_size_t)]


class _HeartBaseConfig(ctypes.Structure):
    _fields_ = [("size", c_size_t), ("int_value1", c_int32), ("int_value2", c_int32), ("int64_value1", c_int64),
                ("int64_value2", c_int64), ("text_value1", _Text), ("text_value2", _Text)]


class _TextBuffer(ctypes.Structure):
    _fields_ = [("data", c_void_p), ("capacity", c_size_t), ("length", c_size_t)]


class HeartbeatData(NamedTuple):
    """The whole state of the heartbeat. Statuses are 1 (on) and 2 (off)."""
    session_id: str
    stream_name: str
    mic_stream_name: str
    channel_id: str
    mix_stream_name: str
    live_status: int
    mic_status: int
    video_app_id: int
    business: int
    sid: int
    width: int
    height: int
    codec: int
    push_status: int
    mic_video_app_id: int
    mic_business: int
    mic_sid: int
    mic_width: int
    mic_height: int
    mic_codec: int
    mic_push_status: int
    role: int
    mix_mode: int
    mix_width: int
    mix_height: int
    mix_status: int
    mix_sid: int
    mix_codec: int


_HEARTBEAT_TEXTS = HeartbeatData._fields[:5]


class _HeartbeatData(ctypes.Structure):
    _fields_ = ([("size", c_size_t)] + [(name, _TextBuffer) for name in _HEARTBEAT_TEXTS]
                + [(name, c_int32) for name in HeartbeatData._fields[5:]])


class CenterStatus(NamedTuple):
    """What a center is doing, why in words, and since when (ms since 1970, 0 = unknown)."""
    state: CenterState
    reason: str
    since_ms: int


class CenterCounters(NamedTuple):
    """What has become of the messages of one center since the process began."""
    accepted: int
    published: int
    acknowledged: int
    refused: int
    dropped_unusable: int
    dropped_late: int
    dropped_at_reconnect: int
    dropped_at_stop: int
    not_accepted_full: int
    not_accepted_unconnected: int
    reconnects: int
    waiting: int
    waiting_records: int
    oldest_waiting_ms: int


class CommandCounters(NamedTuple):
    """What has become of the heartbeat's commands since the process began."""
    queued: int
    handed_over: int
    dropped: int
    waiting: int


class RecordCounters(NamedTuple):
    """What has become of the records since the process began."""
    queued: int
    handed_over: int
    lost_at_disconnect: int
    dropped_by_bound: int
    waiting: int
    waiting_bytes: int
    oldest_waiting_ms: int


class _CenterStatus(ctypes.Structure):
    _fields_ = [("size", c_size_t), ("reason", _TextBuffer), ("since_ms", c_int64), ("state", c_int32)]


class _CenterCounters(ctypes.Structure):
    _fields_ = ([("size", c_size_t)] + [(name, c_uint64) for name in CenterCounters._fields[:-1]]
                + [(CenterCounters._fields[-1], c_int64)])


class _CommandCounters(ctypes.Structure):
    _fields_ = [("size", c_size_t)] + [(name, c_uint64) for name in CommandCounters._fields]


class _RecordCounters(ctypes.Structure):
    _fields_ = [("size", c_size_t)] + [(name, c_uint64) for name in RecordCounters._fields]


_Sink = ctypes.CFUNCTYPE(None, c_void_p, c_int, c_char_p)
_StatusSink = ctypes.CFUNCTYPE(None, c_void_p, c_int, c_int, c_char_p)
_IN = [c_char_p, c_size_t]
_OUT = [c_void_p, c_size_t, POINTER(c_size_t)]
_INT, _INT64, _UINT64 = [POINTER(c_int32)], [POINTER(c_int64)], [POINTER(c_uint64)]

# The parameters of every function. But for the two of the version, they return int32_t.
_PARAMETERS = {
    "version": [],
    "version_text": [],
    "set_log_sink": [_Sink, c_void_p],
    "user_set_login_token": _IN,
    "user_get_login_token": _OUT,
    "user_set_brelo_id": _IN,
    "user_get_brelo_id": _OUT,
    "user_set_tag_room_type": [c_int32],
    "user_get_tag_room_type": _INT,
    "live_info_set_talk_living": [c_int32, c_int32],
    "live_info_is_talk_living": [],
    "live_info_get_enter_talk_time": _INT64,
    "live_info_get_leave_talk_time": _INT64,
    "live_info_get_sdk_id": _INT,
    "live_info_set_mic_type": [c_int32],
    "live_info_get_mic_type": _INT,
    "live_info_set_mix_mode": [c_int32],
    "live_info_get_mix_mode": _INT,
    "live_info_get_is_client_mix": [],
    "live_info_set_layout_type": _IN,
    "live_info_get_layout_type": _OUT,
    "live_info_set_super_sharp": [c_int32],
    "live_info_get_super_sharp": [],
    "centers_start": [*_IN, POINTER(_HeartBaseConfig)],
    "centers_stop": [],
    "centers_is_have_backup": [],
    "centers_is_main_start_ok": [],
    "centers_get": [c_int32, POINTER(c_void_p)],
    "centers_get_status": [c_int32, POINTER(_CenterStatus)],
    "centers_get_counters": [c_int32, POINTER(_CenterCounters)],
    "centers_set_status_sink": [_StatusSink, c_void_p],
    "centers_renew_access_token": [*_IN, c_int64],
    "heartbeat_update_live_status": [c_int32],
    "heartbeat_update_mic_status": [c_int32],
    "heartbeat_update_push_status": [c_int32],
    "heartbeat_update_mic_push_status": [c_int32],
    "heartbeat_update_mix_stream_status": [c_int32],
    "heartbeat_update_live_id": _IN,
    "heartbeat_update_live_business_info": [c_int32, c_int32],
    "heartbeat_update_live_stream_info": [*_IN, c_int32, c_int32, c_int32, c_int32],
    "heartbeat_update_mic_info": [c_int32, c_int32, *_IN, c_int32, c_int32, c_int32, c_int32, c_int32, *_IN, c_int32],
    "heartbeat_update_mix_stream_info": [*_IN, c_int32, c_int32, c_int32, c_int32],
    "heartbeat_update_mix_mode": [c_int32],
    "heartbeat_update_data_state": [c_int32],
    "heartbeat_get_session_id": _OUT,
    "heartbeat_get_data": [POINTER(_HeartbeatData)],
    "heartbeat_get_last_report_tm": [*_INT64, *_INT64],
    "heartbeat_is_connecting": [],
    "heartbeat_send_command": [c_int32, *_IN],
    "heartbeat_get_command_counters": [POINTER(_CommandCounters)],
    "heartbeat_start": [],
    "heartbeat_start_backup": [],
    "heartbeat_stop": [],
    "heartbeat_manager_start": [*_IN, *_INT],
    "heartbeat_manager_stop": [],
    "streams_init": [],
    "streams_is_connected": [],
    "streams_get_tick_count_ms": _UINT64,
    "streams_report_start": [*_IN, c_int32],
    "streams_report_stop": _IN,
    "streams_add_report_data": [*_IN, c_int32, c_int64],
    "streams_add_report_string_data": [*_IN, c_int32, *_IN],
    "streams_report_event_data": [*_IN, c_int32, *_IN],
    "streams_get_record_counters": [POINTER(_RecordCounters)],
    "streams_set_record_bound": [c_uint64, c_uint64],
    "streams_send_stream_report": [*_IN, *_IN, *_OUT],
}
_OTHER_RESULTS = {"version": c_uint32, "version_text": c_char_p}


def _in(text: Text) -> Tuple[bytes, int]:
    data = text.encode() if isinstance(text, str) else bytes(text)
    return data, len(data)


def _json_in(value: Json) -> Tuple[bytes, int]:
    return _in(value if isinstance(value, (str, bytes)) else json.dumps(value))


def _fitting(kind: Any, value: Any) -> Any:
    """The value, which ctypes would cut to the size of its parameter."""
    if kind in (c_int32, c_int64, c_uint64) and kind(value).value != value:
        raise OverflowError(f"{value} does not fit a {kind.__name__}")
    return value


def _str(data: bytes) -> str:
    return data.decode(errors="replace")


def _default_name() -> str:
    return "QoLiveReport.dll" if sys.platform == "win32" else "libQoLiveReport.so.0"


class _Library:
    """Calls functions by their names without "qolive_", with the types that they have."""

    def __init__(self, path: Optional[str]) -> None:
        self._library = ctypes.CDLL(path or _default_name())

    def raw(self, name: str, *arguments: Any) -> Any:
        try:
            function = getattr(self._library, "qolive_" + name)
        except AttributeError:
            raise QoLiveError("qolive_" + name, 0, "the library that is loaded is too old for it") from None
        function.argtypes = _PARAMETERS[name]
        function.restype = _OTHER_RESULTS.get(name, c_int32)
        return function(*(_fitting(kind, argument) for kind, argument in zip(function.argtypes, arguments)))

    def call(self, name: str, *arguments: Any) -> int:
        """The result, when the call was not refused."""
        result = self.raw(name, *arguments)
        if result < 0:
            raise QoLiveError("qolive_" + name, result)
        return result

    def do(self, name: str, *arguments: Any) -> None:
        """For what only hands something over."""
        if self.call(name, *arguments) == 0:
            raise QoLiveError("qolive_" + name, 0)

    def number(self, name: str, kind: Any = c_int32) -> int:
        value = kind()
        self.do(name, byref(value))
        return value.value

    def numbers(self, name: str, structure: Any, *arguments: Any) -> Tuple[int, ...]:
        """The members of a structure of numbers, but for its size."""
        raw = structure(size=ctypes.sizeof(structure))
        self.do(name, *arguments, byref(raw))
        return tuple(getattr(raw, field[0]) for field in structure._fields_[1:])

    def text(self, name: str) -> str:
        capacity = 256
        while True:  # another thread may make it longer in between
            length, buffer = c_size_t(), ctypes.create_string_buffer(capacity)
            result = self.raw(name, buffer, capacity, byref(length))
            if result != _TOO_SMALL:
                break
            capacity = length.value
        if result < 0:
            raise QoLiveError("qolive_" + name, result)
        return _str(buffer.raw[:length.value])


class _Part:
    def __init__(self, library: _Library) -> None:
        self._library = library


class User(_Part):
    """QoUser. These facts have no lock: one thread at a time sets or reads them."""

    @property
    def login_token(self) -> str:
        return self._library.text("user_get_login_token")

    @login_token.setter
    def login_token(self, token: Text) -> None:
        self._library.do("user_set_login_token", *_in(token))

    @property
    def brelo_id(self) -> str:
        return self._library.text("user_get_brelo_id")

    @brelo_id.setter
    def brelo_id(self, value: Text) -> None:
        self._library.do("user_set_brelo_id", *_in(value))

    @property
    def tag_room_type(self) -> int:
        return self._library.number("user_get_tag_room_type")

    @tag_room_type.setter
    def tag_room_type(self, value: int) -> None:
        self._library.do("user_set_tag_room_type", value)


class LiveInfo(_Part):
    """CLiveCommonInfo. Times are seconds since 1970, 0 = never."""

    def set_talk_living(self, living: bool, sdk_id: int) -> None:
        self._library.do("live_info_set_talk_living", living, sdk_id)

    @property
    def is_talk_living(self) -> bool:
        return self._library.call("live_info_is_talk_living") == 1

    @property
    def enter_talk_time(self) -> int:
        return self._library.number("live_info_get_enter_talk_time", c_int64)

    @property
    def leave_talk_time(self) -> int:
        return self._library.number("live_info_get_leave_talk_time", c_int64)

    @property
    def sdk_id(self) -> int:
        return self._library.number("live_info_get_sdk_id")

    @property
    def mic_type(self) -> int:
        return self._library.number("live_info_get_mic_type")

    @mic_type.setter
    def mic_type(self, value: int) -> None:
        self._library.do("live_info_set_mic_type", value)

    @property
    def mix_mode(self) -> int:
        return self._library.number("live_info_get_mix_mode")

    @mix_mode.setter
    def mix_mode(self, value: int) -> None:
        self._library.do("live_info_set_mix_mode", value)

    @property
    def is_client_mix(self) -> bool:
        return self._library.call("live_info_get_is_client_mix") == 1

    @property
    def layout_type(self) -> str:
        return self._library.text("live_info_get_layout_type")

    @layout_type.setter
    def layout_type(self, value: Text) -> None:
        self._library.do("live_info_set_layout_type", *_in(value))

    @property
    def super_sharp(self) -> bool:
        return self._library.call("live_info_get_super_sharp") == 1

    @super_sharp.setter
    def super_sharp(self, on: bool) -> None:
        self._library.do("live_info_set_super_sharp", on)


class Centers(_Part):
    """Bas::CMsgCenterFactory: the main and the backup connection."""

    def __init__(self, library: _Library) -> None:
        super().__init__(library)
        self._sink: Any = None

    def start(self, config: Json, base: HeartBaseConfig = HeartBaseConfig()) -> Outcome:
        texts = [_in(base.text_value1), _in(base.text_value2)]
        raw = _HeartBaseConfig(ctypes.sizeof(_HeartBaseConfig), _fitting(c_int32, base.int_value1),
                               _fitting(c_int32, base.int_value2), _fitting(c_int64, base.int64_value1),
                               _fitting(c_int64, base.int64_value2), _Text(*texts[0]), _Text(*texts[1]))
        return Outcome(self._library.call("centers_start", *_json_in(config), byref(raw)))

    def stop(self) -> None:
        self._library.do("centers_stop")

    @contextlib.contextmanager
    def started(self, config: Json, base: HeartBaseConfig = HeartBaseConfig()) -> Iterator[None]:
        """Started inside a with statement. QoLiveError when the configuration is refused or the centers ran before."""
        outcome = self.start(config, base)
        if outcome != Outcome.DONE:
            raise QoLiveError("qolive_centers_start", outcome, "not started" if outcome == 0 else "was started before")
        try:
            yield
        finally:
            self.stop()

    @property
    def has_backup(self) -> bool:
        return self._library.call("centers_is_have_backup") == 1

    @property
    def is_main_start_ok(self) -> bool:
        return self._library.call("centers_is_main_start_ok") == 1

    def get(self, main: bool) -> int:
        """What tells a center from another one."""
        center = c_void_p()
        self._library.do("centers_get", main, byref(center))
        return center.value or 0

    def get_status(self, main: bool) -> CenterStatus:
        capacity = 256
        while True:  # the reason may be another one by the next call
            buffer = ctypes.create_string_buffer(capacity)
            raw = _CenterStatus(size=ctypes.sizeof(_CenterStatus))
            raw.reason = _TextBuffer(ctypes.cast(buffer, c_void_p), capacity, 0)
            result = self._library.raw("centers_get_status", main, byref(raw))
            if result != _TOO_SMALL:
                break
            capacity = raw.reason.length
        if result < 0:
            raise QoLiveError("qolive_centers_get_status", result)
        return CenterStatus(CenterState(raw.state), _str(buffer.raw[:raw.reason.length]), raw.since_ms)

    def get_counters(self, main: bool) -> CenterCounters:
        return CenterCounters(*self._library.numbers("centers_get_counters", _CenterCounters, main))

    def set_status_sink(self, sink: Optional[StatusSink]) -> None:
        """Hands every change of a center to `sink`: whether it is the main center, its state and the reason. None ends that.
        It is called on threads of the library and kept alive for as long as it is in use."""
        native = _StatusSink()
        if sink is not None:
            call = sink
            native = _StatusSink(lambda _, main, state, reason: call(main != 0, CenterState(state), _str(reason)))
        self._library.do("centers_set_status_sink", native, None)
        self._sink = None if sink is None else native  # the one before is no longer in use

    def renew_access_token(self, token: Text, expire_time: int = 0) -> bool:
        """True when a center has taken the token; `expire_time` in seconds since 1970, 0 = never."""
        return self._library.call("centers_renew_access_token", *_in(token), expire_time) == 1

    def leave(self) -> None:
        """Ends what a set_status_sink has begun."""
        if self._sink is not None:
            self.set_status_sink(None)


class Heartbeat(_Part):
    """LiveHeartReport, and LiveHeartReportManager as manager_start and manager_stop."""

    def update_live_status(self, live: bool) -> None:
        self._library.do("heartbeat_update_live_status", live)

    def update_mic_status(self, on: bool) -> None:
        self._library.do("heartbeat_update_mic_status", on)

    def update_push_status(self, status: int) -> None:
        self._library.do("heartbeat_update_push_status", status)

    def update_mic_push_status(self, status: int) -> None:
        self._library.do("heartbeat_update_mic_push_status", status)

    def update_mix_stream_status(self, status: int) -> None:
        self._library.do("heartbeat_update_mix_stream_status", status)

    def update_live_id(self, session_id: Text) -> None:
        self._library.do("heartbeat_update_live_id", *_in(session_id))

    def update_live_business_info(self, app_id: int, business: int) -> None:
        self._library.do("heartbeat_update_live_business_info", app_id, business)

    def update_live_stream_info(self, stream_name: Text, sid: int, width: int, height: int, codec: int) -> None:
        self._library.do("heartbeat_update_live_stream_info", *_in(stream_name), sid, width, height, codec)

    def update_mic_info(self, app_id: int, business: int, stream_name: Text, sid: int, width: int, height: int, codec: int,
                        role: int, channel_id: Text, mix_mode: int) -> None:
        self._library.do("heartbeat_update_mic_info", app_id, business, *_in(stream_name), sid, width, height, codec, role,
                         *_in(channel_id), mix_mode)

    def update_mix_stream_info(self, stream_name: Text, width: int, height: int, sid: int, codec: int) -> None:
        self._library.do("heartbeat_update_mix_stream_info", *_in(stream_name), width, height, sid, codec)

    def update_mix_mode(self, mode: int) -> None:
        self._library.do("heartbeat_update_mix_mode", mode)

    def update_data_state(self, changed: bool) -> None:
        self._library.do("heartbeat_update_data_state", changed)

    @property
    def session_id(self) -> str:
        return self._library.text("heartbeat_get_session_id")

    def get_data(self) -> HeartbeatData:
        capacities = dict.fromkeys(_HEARTBEAT_TEXTS, 64)
        while True:  # another thread may make a text longer in between
            buffers = {name: ctypes.create_string_buffer(capacity) for name, capacity in capacities.items()}
            raw = _HeartbeatData(size=ctypes.sizeof(_HeartbeatData))
            for name, buffer in buffers.items():
                setattr(raw, name, _TextBuffer(ctypes.cast(buffer, c_void_p), len(buffer), 0))
            result = self._library.raw("heartbeat_get_data", byref(raw))
            if result != _TOO_SMALL:
                break
            capacities = {name: max(64, getattr(raw, name).length) for name in _HEARTBEAT_TEXTS}
        if result < 0:
            raise QoLiveError("qolive_heartbeat_get_data", result)
        texts = [_str(buffers[name].raw[:getattr(raw, name).length]) for name in _HEARTBEAT_TEXTS]
        return HeartbeatData(*texts, *(getattr(raw, name) for name in HeartbeatData._fields[5:]))

    def get_last_report_tm(self) -> Tuple[Optional[int], Optional[int]]:
        """When a report was last attempted on the main and on the backup connection, ms since 1970; None = not yet, or there is
        no such connection."""
        main, backup = c_int64(-1), c_int64(-1)
        self._library.do("heartbeat_get_last_report_tm", byref(main), byref(backup))
        return (None if main.value < 0 else main.value), (None if backup.value < 0 else backup.value)

    @property
    def is_connecting(self) -> bool:
        return self._library.call("heartbeat_is_connecting") == 1

    def send_command(self, biz_type: int, data: Text) -> bool:
        return self._library.call("heartbeat_send_command", biz_type, *_in(data)) == 1

    def get_command_counters(self) -> CommandCounters:
        return CommandCounters(*self._library.numbers("heartbeat_get_command_counters", _CommandCounters))

    def start(self) -> Outcome:
        return Outcome(self._library.call("heartbeat_start"))

    def start_backup(self) -> bool:
        return self._library.call("heartbeat_start_backup") == 1

    def stop(self) -> bool:
        return self._library.call("heartbeat_stop") == 1

    def manager_start(self, config: Json = "{}") -> Tuple[Outcome, Optional[int]]:
        """The outcome, and the mode that `config` names if it names one."""
        unnamed = -0x80000000
        mode = c_int32(unnamed)
        outcome = Outcome(self._library.call("heartbeat_manager_start", *_json_in(config), byref(mode)))
        return outcome, None if mode.value == unnamed else mode.value

    def manager_stop(self) -> bool:
        return self._library.call("heartbeat_manager_stop") == 1


class Streams(_Part):
    """data_report::DataReportManager."""

    def init(self) -> bool:
        return self._library.call("streams_init") == 1

    @property
    def is_connected(self) -> bool:
        return self._library.call("streams_is_connected") == 1

    def get_tick_count_ms(self) -> int:
        return self._library.number("streams_get_tick_count_ms", c_uint64)

    def report_start(self, stream: Text, kind: int = StreamType.SAMPLED) -> None:
        self._library.do("streams_report_start", *_in(stream), kind)

    def report_stop(self, stream: Text) -> None:
        self._library.do("streams_report_stop", *_in(stream))

    def add_report_data(self, stream: Text, kind: int, value: int) -> None:
        self._library.do("streams_add_report_data", *_in(stream), kind, value)

    def add_report_string_data(self, stream: Text, kind: int, value: Text) -> None:
        self._library.do("streams_add_report_string_data", *_in(stream), kind, *_in(value))

    def report_event_data(self, stream: Text, kind: int, event: Json = "{}") -> None:
        self._library.do("streams_report_event_data", *_in(stream), kind, *_json_in(event))

    def send_stream_report(self, record: Json, head: Json = "{}") -> Optional[str]:
        """The head that is sent, as JSON with its "mid"; None when the record is not queued."""
        data, size = _json_in(head)
        length, buffer = c_size_t(), ctypes.create_string_buffer(32 * size + 256)
        if self._library.call("streams_send_stream_report", *_json_in(record), data, size, buffer, len(buffer),
                              byref(length)) == 0:
            return None
        return _str(buffer.raw[:length.value])

    def get_record_counters(self) -> RecordCounters:
        return RecordCounters(*self._library.numbers("streams_get_record_counters", _RecordCounters))

    def set_record_bound(self, most_records: int = 0, most_bytes: int = 0) -> None:
        """How many records and bytes may wait, 0 = as many as come."""
        self._library.do("streams_set_record_bound", most_records, most_bytes)


class QoLiveReport:
    """The library that is loaded from `path`, or from where the system finds it. It acts on objects that the process shares, so
    a second one of these is the same under another name."""

    def __init__(self, path: Optional[str] = None) -> None:
        self._library = _Library(path)
        self._sink: Any = None
        self.user = User(self._library)
        self.live_info = LiveInfo(self._library)
        self.centers = Centers(self._library)
        self.heartbeat = Heartbeat(self._library)
        self.streams = Streams(self._library)
        atexit.register(self._leave)

    @property
    def version(self) -> int:
        """major * 1000000 + minor * 1000 + patch"""
        return self._library.raw("version")

    @property
    def version_text(self) -> str:
        return _str(self._library.raw("version_text"))

    def set_log_sink(self, sink: Optional[LogSink]) -> None:
        """Hands every later line to `sink` as level and text, None for standard error. It is called on threads of the library,
        several at once, and must not call the library. It is kept alive for as long as it is in use."""
        native = _Sink()
        if sink is not None:
            call = sink
            native = _Sink(lambda _, level, line: call(level, _str(line)))
        self._library.do("set_log_sink", native, None)
        self._sink = None if sink is None else native  # the one before is no longer in use

    def _leave(self) -> None:
        """Threads of the library outlive the interpreter, and must not call it then."""
        self.centers.leave()
        if self._sink is not None:
            self.set_log_sink(None)
