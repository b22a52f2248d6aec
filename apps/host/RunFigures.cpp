#include "host/RunFigures.h"

#include <initializer_list>
#include <utility>

#include "common/Clock.h"
#include "common/Printable.h"

namespace host {
namespace {

constexpr std::size_t kMostReasonBytes = 300;

using Figure = std::pair<std::uint64_t, const char*>;

const char* StateText(Bas::CenterState state) {
    switch (state) {
        case Bas::CenterState::Stopped:
            return "stopped";
        case Bas::CenterState::Connecting:
            return "connecting";
        case Bas::CenterState::Connected:
            return "connected";
        case Bas::CenterState::Waiting:
            return "waiting before it tries again";
        case Bas::CenterState::Refused:
            return "refused by the server";
        case Bas::CenterState::TokenExpired:
            return "without a valid access token";
        default:
            return "unknown";
    }
}

// Those that are not zero; empty when all are.
std::string Listed(std::initializer_list<Figure> figures) {
    std::string text;
    for (const auto& [count, what] : figures) {
        if (count == 0) continue;
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + what;
    }
    return text;
}

std::string Line(const char* title, const std::string& text) {
    return text.empty() ? "" : std::string("  ") + title + text + "\n";
}

std::string DropsText(const Bas::CenterCounters& counters) {
    return Listed({{counters.droppedUnusable, "unusable"},
                   {counters.droppedLate, "too late"},
                   {counters.droppedAtReconnect, "at a reconnect"},
                   {counters.droppedAtStop, "at the stop"}});
}

}  // namespace

std::string CenterText(const std::string& name, const Bas::CenterStatus& status,
                       const Bas::CenterCounters& counters, std::int64_t nowMs) {
    const std::string since =
        status.sinceMs > 0 ? " for " + std::to_string((nowMs - status.sinceMs) / 1000) + " s" : "";
    return name + " center: " + StateText(status.state) + since + "\n" +
           Line("", apps::Printable(status.reason, kMostReasonBytes)) +
           Line("messages: ", std::to_string(counters.accepted) + " taken, " +
                                  std::to_string(counters.acknowledged) + " acknowledged, " +
                                  std::to_string(counters.refused) + " refused, " +
                                  std::to_string(counters.waiting) + " waiting") +
           Line("dropped: ", DropsText(counters)) +
           Line("not taken: ", Listed({{counters.notAcceptedUnconnected, "without a connection"},
                                       {counters.notAcceptedFull, "as too much was waiting"}})) +
           Line("connections: ", Listed({{counters.reconnects, "made again"}}));
}

std::string QueuesText(const data_report::RecordCounters& records,
                       const live_heartbeat::CommandCounters& commands) {
    return "records: " + std::to_string(records.queued) + " queued, " + std::to_string(records.handedOver) +
           " handed over, " + std::to_string(records.lostAtDisconnect + records.droppedByBound) + " lost, " +
           std::to_string(records.waiting) + " waiting\n" + "commands: " + std::to_string(commands.queued) +
           " queued, " + std::to_string(commands.handedOver) + " handed over, " +
           std::to_string(commands.dropped) + " dropped, " + std::to_string(commands.waiting) + " waiting\n";
}

RunFigures::RunFigures()
    : m_nowMs(apps::WallMs()), m_main(Bas::GetCenterStatus(true)), m_backup(Bas::GetCenterStatus(false)) {}

std::string RunFigures::text() const {
    return CenterText("main", m_main, Bas::GetCenterCounters(true), m_nowMs) +
           CenterText("backup", m_backup, Bas::GetCenterCounters(false), m_nowMs) +
           QueuesText(data_report::GetRecordCounters(), live_heartbeat::GetCommandCounters());
}

}  // namespace host
