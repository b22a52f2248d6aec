#pragma once

#include "../base/Export.h"

// The log. All of it may be another library's (QOLIVE_LOG_LIBRARY), which promises what is said here.

/// Severity of a log line; the numbers are what a sink receives.
enum class LogLevel : int {
    Trace = 0,
    Debug = 1,
    Info = 2,  ///< every ordinary line and most failures
    Warning = 3,
    Error = 4,  ///< a server address that was refused, no thread or no memory available
};

// What the message center says comes at level 2 whatever its severity, which its text begins with:
// "[msgcenter] sdklog: error: main: a message was dropped: the server refused it: Not authorized".

/// Receives one finished log line: no line break at its end, terminated by a zero byte, at most 64 KiB (a
/// longer one is cut and says so). The text may hold whatever a server or the host sent, so a sink that
/// writes lines escapes control characters. `user` is the pointer given to SetLogSink.
///
/// A sink is called from any thread of the host and, for the lines of the library's own threads, from threads
/// that end as soon as no line has come for a moment (on Windows from those threads themselves), several at
/// once, and may block: that delays the thread that logs and who waits for it: the heartbeat logs under its
/// lock, which its setters take, and a stop waits for a running callback. It must not throw and must not call
/// back into the library.
using LogSink = void (*)(void* user, int level, const char* line);

/// Hands every later log line to `sink`; null restores the default, which writes time, level and line to
/// standard error. May be called from any thread at any time. When it returns, no thread is inside the
/// previous sink any more and none enters it, so what that sink used can be freed. It therefore blocks while
/// a call of the previous sink runs; it must not be called from inside a sink. Does nothing once
/// IsProcessEnding.
QOLIVE_API void SetLogSink(LogSink sink, void* user);

/// Formats as printf does and hands the line to the sink. May be called from any thread; blocks only as the
/// sink does. Never throws; a line that cannot be formatted is dropped, and so is every line once
/// IsProcessEnding.
#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
void Log(LogLevel level, const char* format, ...);
