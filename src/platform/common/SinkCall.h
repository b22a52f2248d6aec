#pragma once

#include <atomic>

#include "platform/Log.h"

/// One call of a sink, counted in `calls` from before it begins until it has ended.
struct SinkCall {
    LogSink sink;
    void* user;
    int level;
    std::atomic<int>* calls;
};

/// Makes the call on this thread.
void MakeSinkCall(const SinkCall& call, const char* line);

/// Makes the call on this thread or, where a thread of the library must not enter the host's code, on another one.
/// Returns when the call has ended, or once the host's sink has been left for good.
void DeliverLine(const SinkCall& call, const char* line);

/// Whether LeaveHostSink was called.
bool HasLeftHostSink();
