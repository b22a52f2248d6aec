"""log_test.py LIBRARY: a library that was linked with another log (VendorLog.cpp) writes its lines there."""
import ctypes
import sys

SINK = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int, ctypes.c_char_p)
lines = []
sink = SINK(lambda _, level, line: lines.append((level, line)))
library = ctypes.CDLL(sys.argv[1])
assert library.qolive_set_log_sink(sink, None) == 1
assert library.qolive_centers_stop() == 1
assert library.qolive_set_log_sink(SINK(), None) == 1
assert lines == [(2, b"vendor: [LiveState] CMsgCenterFactory::Stop start"),
                 (2, b"vendor: [LiveState] CMsgCenterFactory::Stop finish")], lines
