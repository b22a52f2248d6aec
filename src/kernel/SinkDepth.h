#pragma once

/// How many calls of a log sink the calling thread is inside of. Counting allocates nothing.
void EnterSink();
void LeaveSink();
bool IsInSink();
