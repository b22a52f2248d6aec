#include "platform/common/UseRate.h"

#include <algorithm>
#include <utility>

#include "platform/common/Percent.h"

namespace {

// A system may step its counters back a little when it corrects them.
std::uint64_t growth(std::uint64_t before, std::uint64_t after) {
    return after > before ? after - before : 0;
}

std::uint64_t usedSince(const std::vector<ProcessTime>& before, const ProcessTime& process) {
    const auto same = [&process](const ProcessTime& earlier) {
        return earlier.id == process.id && earlier.started == process.started;
    };
    const auto earlier = std::find_if(before.begin(), before.end(), same);
    return earlier == before.end() ? 0 : growth(earlier->usedNs, process.usedNs);
}

int percentUsed(const ProcessList& before, const ProcessList& after) {
    std::uint64_t used = 0;
    for (const ProcessTime& process : after.processes)
        used += usedSince(before.processes, process);
    const std::chrono::nanoseconds elapsed = after.when - before.when;
    return PercentOf(used, static_cast<std::uint64_t>(elapsed.count()) * after.processors);
}

}  // namespace

void SystemUseRate::start(const ProcessorTimes& times, ReadingTime now) {
    m_started = true;
    m_when = now;
    m_times = times;
    m_percent = 0;
}

int SystemUseRate::next(const ProcessorTimes& times, ReadingTime now) {
    if (!m_started) start(times, now);
    if (now - m_when < kShortestWindow) return m_percent;
    m_percent = PercentOf(growth(m_times.busy, times.busy), growth(m_times.total, times.total));
    m_when = now;
    m_times = times;
    return m_percent;
}

int ProcessUseRate::next(std::shared_ptr<const ProcessList> list) {
    if (!m_list) m_list = list;
    if (list->when - m_list->when < kShortestWindow) return m_percent;
    m_percent = percentUsed(*m_list, *list);
    m_list = std::move(list);
    return m_percent;
}
