#pragma once

#include <cstdint>
#include <string>

#include <qolive_report/data_report/RecordQueueWatch.h>
#include <qolive_report/heartbeat/CommandCounters.h>
#include <qolive_report/message_center/CenterWatch.h>

namespace host {

/// What a center does and what became of its messages, as a few lines for a person.
std::string CenterText(const std::string& name, const Bas::CenterStatus& status,
                       const Bas::CenterCounters& counters, std::int64_t nowMs);

/// What became of the records and the commands before a center had them.
std::string QueuesText(const data_report::RecordCounters& records,
                       const live_heartbeat::CommandCounters& commands);

/// What the library tells at the end of a run: what its centers did while they ran, and the messages to the
/// very last.
class RunFigures {
public:
    /// Notes what the centers are doing; to be made before they are stopped.
    RunFigures();

    /// Both centers and the queues before them, with their counters of now.
    std::string text() const;

private:
    std::int64_t m_nowMs;
    Bas::CenterStatus m_main;
    Bas::CenterStatus m_backup;
};

}  // namespace host
