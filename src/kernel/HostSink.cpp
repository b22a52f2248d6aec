#include "platform/HostSink.h"

#include <atomic>

#include "kernel/SinkCall.h"
#include "kernel/SinkDepth.h"

namespace {

std::atomic<bool> hasLeftHostSink{false};

/// Also when the host's runtime ends the thread inside the sink.
class InSink {
public:
    explicit InSink(std::atomic<int>& calls) : m_calls(calls) { EnterSink(); }
    ~InSink() {
        LeaveSink();
        m_calls.fetch_sub(1);
    }
    InSink(const InSink&) = delete;
    InSink& operator=(const InSink&) = delete;

private:
    std::atomic<int>& m_calls;
};

}  // namespace

void MakeSinkCall(const SinkCall& call, const char* text) {
    const InSink counted(*call.calls);
    call.sink(call.user, call.number, text);
}

void LeaveHostSink() {
    hasLeftHostSink = true;
}

bool HasLeftHostSink() {
    return hasLeftHostSink;
}

bool IsInLogSink() {
    return IsInSink();
}
