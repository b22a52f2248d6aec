#include "fakes/FakeHostReadings.h"

#include <chrono>
#include <mutex>
#include <new>
#include <thread>

#include "platform/HostReadings.h"

namespace fakes {
namespace {

struct Readings {
    std::mutex mutex;
    HostReadingsScript script;
    std::vector<std::string> pinged;
    int pingsUnderWay = 0;
    std::vector<std::wstring> processes;
    int systemReadings = 0;
    int initializations = 0;
};

Readings& TheReadings() {
    static Readings* const instance = new Readings;  // outlives every static object
    return *instance;
}

template <class Action>
auto Locked(Action action) {
    const std::lock_guard<std::mutex> lock(TheReadings().mutex);
    return action(TheReadings());
}

}  // namespace

void SetHostReadings(const HostReadingsScript& script) {
    Locked([&script](Readings& all) { all.script = script; });
}

std::vector<std::string> PingedHosts() {
    return Locked([](Readings& all) { return all.pinged; });
}

int PingsUnderWay() {
    return Locked([](Readings& all) { return all.pingsUnderWay; });
}

int SystemCpuReadings() {
    return Locked([](Readings& all) { return all.systemReadings; });
}

int SystemCpuInitializations() {
    return Locked([](Readings& all) { return all.initializations; });
}

std::vector<std::wstring> ProcessCpuReadings() {
    return Locked([](Readings& all) { return all.processes; });
}

}  // namespace fakes

struct CCPUUseRate::Impl {};
CCPUUseRate::CCPUUseRate() = default;
CCPUUseRate::~CCPUUseRate() = default;

int CCPUUseRate::Initialize() {
    return fakes::Locked([](fakes::Readings& all) {
        ++all.initializations;
        return 0;
    });
}

int CCPUUseRate::GetCPUUseRate() {
    return fakes::Locked([](fakes::Readings& all) {
        ++all.systemReadings;
        return all.script.systemCpu;
    });
}

struct CProcessCPUUseRate::Impl {};
CProcessCPUUseRate::CProcessCPUUseRate() = default;
CProcessCPUUseRate::~CProcessCPUUseRate() = default;

int CProcessCPUUseRate::GetProcessCpuUsage(const std::wstring& processName, bool /*unused*/) {
    return fakes::Locked([&processName](fakes::Readings& all) {
        all.processes.push_back(processName);
        if (all.script.outOfMemory) throw std::bad_alloc();
        return all.script.processCpu;
    });
}

unsigned long GetCurrentMemoryInfo(CurrentMemoryInfo* info) {
    return fakes::Locked([info](fakes::Readings& all) {
        info->totalPhysical = all.script.totalPhysical;
        info->availablePhysical = all.script.availablePhysical;
        return all.script.memoryResult;
    });
}

CPing* CPing::GetInstance() {
    static CPing instance;
    return &instance;
}

bool CPing::PingHost(std::string host, int& rttMs) {
    const auto script = fakes::Locked([&host](fakes::Readings& all) {
        all.pinged.push_back(host);
        return all.script;
    });
    if (script.outOfMemory) throw std::bad_alloc();
    fakes::Locked([](fakes::Readings& all) { return ++all.pingsUnderWay; });
    std::this_thread::sleep_for(std::chrono::milliseconds(script.pingTakesMs));
    fakes::Locked([](fakes::Readings& all) { return --all.pingsUnderWay; });
    if (script.pingAnswers || script.writesRttWhenUnanswered) rttMs = script.rttMs;
    return script.pingAnswers;
}
