#include "readings/ProcessorUse.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/Sync.h"
#include "platform/HostReadings.h"

namespace {

// A system may step its counters back a little when it corrects them.
std::uint64_t Growth(std::uint64_t before, std::uint64_t after) {
    return after > before ? after - before : 0;
}

std::uint64_t UsedSince(const std::vector<ProcessTime>& before, const ProcessTime& process) {
    const auto same = [&process](const ProcessTime& earlier) {
        return earlier.id == process.id && earlier.started == process.started;
    };
    const auto earlier = std::find_if(before.begin(), before.end(), same);
    return earlier == before.end() ? 0 : Growth(earlier->usedNs, process.usedNs);
}

int PercentUsed(const ProcessList& before, const ProcessList& after) {
    std::uint64_t used = 0;
    for (const ProcessTime& process : after.processes)
        used += UsedSince(before.processes, process);
    const std::chrono::nanoseconds elapsed = after.when - before.when;
    return PercentOf(used, static_cast<std::uint64_t>(elapsed.count()) * after.processors);
}

struct Newest {
    qolive::Mutex mutex;
    std::wstring name QOLIVE_GUARDED_BY(mutex);
    std::shared_ptr<const ProcessList> list QOLIVE_GUARDED_BY(mutex);
};

Newest& NewestReading() {
    static Newest* const instance = new Newest;  // outlives threads that read while the process ends
    return *instance;
}

std::shared_ptr<const ProcessList> ListNow(const std::wstring& name) {
    auto list = std::make_shared<ProcessList>();
    list->processes = ReadProcessTimes(name);
    list->processors = ProcessorCount();
    list->when = std::chrono::steady_clock::now();
    return list;
}

}  // namespace

int PercentOf(std::uint64_t part, std::uint64_t whole) {
    if (whole == 0) return 0;
    if (part >= whole) return 100;
    return static_cast<int>(std::lround(100.0 * static_cast<double>(part) / static_cast<double>(whole)));
}

void SystemUseRate::start(const ProcessorTimes& times, ReadingTime now) {
    m_started = true;
    m_when = now;
    m_times = times;
    m_percent = 0;
}

int SystemUseRate::next(const ProcessorTimes& times, ReadingTime now) {
    if (!m_started) start(times, now);
    if (now - m_when < kShortestWindow) return m_percent;
    m_percent = PercentOf(Growth(m_times.busy, times.busy), Growth(m_times.total, times.total));
    m_when = now;
    m_times = times;
    return m_percent;
}

int ProcessUseRate::next(std::shared_ptr<const ProcessList> list) {
    if (!m_list) m_list = list;
    if (list->when - m_list->when < kShortestWindow) return m_percent;
    m_percent = PercentUsed(*m_list, *list);
    m_list = std::move(list);
    return m_percent;
}

std::shared_ptr<const ProcessList> RecentProcesses(const std::wstring& name) {
    Newest& kept = NewestReading();
    const qolive::MutexLock lock(kept.mutex);
    const auto now = std::chrono::steady_clock::now();
    if (!kept.list || kept.name != name || now - kept.list->when >= kShortestWindow) {
        kept.list = ListNow(name);
        kept.name = name;
    }
    return kept.list;
}

struct CCPUUseRate::Impl {
    qolive::Mutex mutex;
    SystemUseRate rate QOLIVE_GUARDED_BY(mutex);
};

CCPUUseRate::CCPUUseRate() : m_impl(std::make_unique<Impl>()) {}

CCPUUseRate::~CCPUUseRate() = default;

int CCPUUseRate::Initialize() {
    const qolive::MutexLock lock(m_impl->mutex);
    ProcessorTimes times;
    if (!ReadProcessorTimes(times)) return -1;
    m_impl->rate.start(times, std::chrono::steady_clock::now());
    return 0;
}

int CCPUUseRate::GetCPUUseRate() {
    const qolive::MutexLock lock(m_impl->mutex);
    ProcessorTimes times;
    if (!ReadProcessorTimes(times)) return 0;
    return m_impl->rate.next(times, std::chrono::steady_clock::now());
}

struct CProcessCPUUseRate::Impl {
    qolive::Mutex mutex;
    ProcessUseRate rate QOLIVE_GUARDED_BY(mutex);
};

CProcessCPUUseRate::CProcessCPUUseRate() : m_impl(std::make_unique<Impl>()) {}

CProcessCPUUseRate::~CProcessCPUUseRate() = default;

int CProcessCPUUseRate::GetProcessCpuUsage(const std::wstring& processName, bool /*unused*/) {
    const qolive::MutexLock lock(m_impl->mutex);
    return m_impl->rate.next(RecentProcesses(processName));
}
