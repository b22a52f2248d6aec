#pragma once

#include "platform/HostSink.h"

/// Makes the call on this thread.
void MakeSinkCall(const SinkCall& call, const char* text);
