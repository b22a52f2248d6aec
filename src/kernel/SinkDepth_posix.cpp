#include "kernel/SinkDepth.h"

namespace {

// In the thread's own block, not in one that is allocated at the first use.
[[gnu::tls_model("initial-exec")]] thread_local int depth = 0;

}  // namespace

void EnterSink() {
    ++depth;
}

void LeaveSink() {
    --depth;
}

bool IsInSink() {
    return depth > 0;
}
