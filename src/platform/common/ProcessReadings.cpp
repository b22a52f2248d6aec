#include "platform/common/ProcessReadings.h"

#include "platform/Sync.h"

namespace {

struct Newest {
    Mutex mutex;
    std::wstring name QOLIVE_GUARDED_BY(mutex);
    std::shared_ptr<const ProcessList> list QOLIVE_GUARDED_BY(mutex);
};

Newest& newest() {
    static Newest* const instance = new Newest;  // outlives threads that read while the process ends
    return *instance;
}

std::shared_ptr<const ProcessList> listNow(const std::wstring& name) {
    auto list = std::make_shared<ProcessList>();
    list->processes = ReadProcessTimes(name);
    list->processors = ProcessorCount();
    list->when = std::chrono::steady_clock::now();
    return list;
}

}  // namespace

std::shared_ptr<const ProcessList> RecentProcesses(const std::wstring& name) {
    Newest& kept = newest();
    const MutexLock lock(kept.mutex);
    const auto now = std::chrono::steady_clock::now();
    if (!kept.list || kept.name != name || now - kept.list->when >= kShortestWindow) {
        kept.list = listNow(name);
        kept.name = name;
    }
    return kept.list;
}
