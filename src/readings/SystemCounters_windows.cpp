#include "readings/SystemCounters.h"

#include "platform/Kernel.h"
// windows.h comes first.
#include <tlhelp32.h>

#include <algorithm>
#include <optional>

#include "readings/Handle_windows.h"
#include "readings/ProgramName.h"

namespace {

/// In steps of 100 ns.
std::uint64_t Value(const FILETIME& time) {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

std::optional<ProcessTime> TimeThrough(HANDLE process, DWORD id) {
    FILETIME started;
    FILETIME ended;
    FILETIME kernel;
    FILETIME user;
    if (!GetProcessTimes(process, &started, &ended, &kernel, &user)) return std::nullopt;
    return ProcessTime{id, Value(started), 100 * (Value(kernel) + Value(user))};
}

std::optional<ProcessTime> TimeOf(DWORD id) {
    if (id == GetCurrentProcessId()) return TimeThrough(GetCurrentProcess(), id);
    const Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    return process.isOpen() ? TimeThrough(process.get(), id) : std::nullopt;
}

}  // namespace

bool ReadProcessorTimes(ProcessorTimes& times) {
    FILETIME idle;
    FILETIME kernelAndIdle;
    FILETIME user;
    if (!GetSystemTimes(&idle, &kernelAndIdle, &user)) return false;
    const std::uint64_t total = Value(kernelAndIdle) + Value(user);
    times = {total - std::min(Value(idle), total), total};
    return true;
}

unsigned ProcessorCount() {
    return std::max<unsigned>(1, GetActiveProcessorCount(ALL_PROCESSOR_GROUPS));
}

std::vector<ProcessTime> ReadProcessTimes(const std::wstring& name) {
    std::vector<ProcessTime> found;
    const Handle processes(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    if (!processes.isOpen() || !Process32FirstW(processes.get(), &entry)) return found;
    do {
        if (!IsSameProgram<wchar_t>(name, entry.szExeFile)) continue;
        if (const auto time = TimeOf(entry.th32ProcessID)) found.push_back(*time);
    } while (Process32NextW(processes.get(), &entry));
    return found;
}

unsigned long ReadPhysicalMemory(PhysicalMemory& memory) {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    if (!GlobalMemoryStatusEx(&status)) return GetLastError();
    memory = {status.ullTotalPhys, status.ullAvailPhys};
    return 0;
}
