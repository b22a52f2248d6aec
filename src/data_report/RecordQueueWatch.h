#pragma once

#include <cstdint>

#include "../base/Export.h"

// What DataReportManager's queue of records holds, has lost and may hold at most.

namespace data_report {

/// What has become of the records that SendStreamReport took, since the process began. Once nothing is on its
/// way, `queued` is the sum of the next four. Each figure is right by itself; one that is read a moment later
/// may fit another moment.
struct RecordCounters {
    std::uint64_t queued = 0;
    std::uint64_t handedOver = 0;        ///< the message center took them
    std::uint64_t lostAtDisconnect = 0;  ///< the connection went down while the send thread had them
    std::uint64_t droppedByBound = 0;    ///< the oldest that waited, because of SetRecordBound
    std::uint64_t waiting = 0;  ///< now, those included that the send thread has and could not hand over yet
    std::uint64_t waitingBytes = 0;     ///< of their texts, body and head
    std::uint64_t oldestWaitingMs = 0;  ///< how long the oldest of them has waited; 0 when none waits
};

/// Any thread, at any time; waits for no more than a record that is being queued.
QOLIVE_API RecordCounters GetRecordCounters();

/// How many records and how many bytes of them may wait in the queue; 0 = as many as come, which is what
/// holds until this is called. Beyond either bound the oldest are dropped, at once and with each record that
/// is queued, but for the newest one, which always stays. Drops are counted, and told in the log in one line
/// a second at most. Records that the send thread has taken, which it does while the connection is up, are
/// not in the queue any more.
///
/// Any thread, at any time, also before DataReportManager::Init; does not block.
QOLIVE_API void SetRecordBound(std::uint64_t mostRecords, std::uint64_t mostBytes);

}  // namespace data_report
