#include "heartbeat/CommandCounters.h"

#include "heartbeat/CommandTally.h"
#include "platform/Kernel.h"

namespace live_heartbeat {

// Trivially destructible: a heartbeat may outlive the static objects of the process.
CommandTally& CommandTally::instance() {
    static CommandTally tally;
    return tally;
}

CommandCounters GetCommandCounters() {
    if (IsProcessEnding()) return {};
    const CommandTally& tally = CommandTally::instance();
    CommandCounters counters;
    counters.queued = tally.queuedSoFar();
    counters.handedOver = tally.handedOverSoFar();
    counters.dropped = tally.droppedSoFar();
    counters.waiting = tally.waitingNow();
    return counters;
}

}  // namespace live_heartbeat
