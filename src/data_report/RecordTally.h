#pragma once

#include <atomic>
#include <cstdint>

#include "base/DropNotice.h"

namespace data_report {

/// What DataReportManager counts and keeps for RecordQueueWatch.h.
struct RecordTally {
    using Figure = std::atomic<std::uint64_t>;

    static void add(Figure& figure, std::uint64_t count = 1) {
        figure.fetch_add(count, std::memory_order_relaxed);
    }
    static std::uint64_t read(const Figure& figure) { return figure.load(std::memory_order_relaxed); }

    void came(std::uint64_t bytes) {
        add(queued);
        add(waiting);
        add(waitingBytes, bytes);
    }
    void went(Figure& where, std::uint64_t bytes) {
        add(where);
        waiting.fetch_sub(1, std::memory_order_relaxed);
        waitingBytes.fetch_sub(bytes, std::memory_order_relaxed);
    }

    Figure queued{0};
    Figure handedOver{0};
    Figure lostAtDisconnect{0};
    Figure droppedByBound{0};
    Figure waiting{0};
    Figure waitingBytes{0};
    Figure oldestTakenMs{
        0};  ///< tick count at which the oldest record was queued that the send thread has; 0: none

    // Used with the queue's mutex held.
    std::uint64_t mostRecords = 0;  ///< 0: no bound
    std::uint64_t mostBytes = 0;
    std::uint64_t queueBytes = 0;  ///< of the records in the queue
    qolive::DropNotice dropped;
};

}  // namespace data_report
