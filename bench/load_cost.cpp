// What it costs a host to load the library and to have everything of it at rest: time, resident memory and
// threads, one "name value" a line. scripts/figures runs it.
//
// usage: qolive_load_cost LIBRARY

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "lifetime/SharedLibrary.h"
#include "qolive_report.h"

#ifdef _WIN32
#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>
#else
#include <unistd.h>

#include <filesystem>
#include <fstream>
#endif

namespace {

#ifdef _WIN32

long ResidentKiB() {
    PROCESS_MEMORY_COUNTERS counters;
    return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)
               ? static_cast<long>(counters.WorkingSetSize / 1024)
               : -1;
}

int Threads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry;
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId();
    CloseHandle(snapshot);
    return count;
}

#else

long ResidentKiB() {
    std::ifstream file("/proc/self/statm");
    long size = 0;
    long resident = -1;
    file >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

int Threads() {
    int count = 0;
    for ([[maybe_unused]] const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
        ++count;
    return count;
}

#endif

void Ignore(void* /*user*/, int /*level*/, const char* /*line*/) {}

// Nothing listens there, so that what is measured is the library alone, and no broker is needed.
constexpr char kServers[] = R"({"gatewayDns":{"main":["127.0.0.1:9"],"backup":["127.0.0.1:9"]}})";
constexpr char kHeartbeat[] = R"({"heartbeatMode":1})";

#define FIND(name) library.find<decltype(name)>(#name)

bool StartEverything(const SharedLibrary& library) {
    FIND(qolive_set_log_sink)(Ignore, nullptr);
    qolive_heart_base_config base;
    std::memset(&base, 0, sizeof base);
    base.size = sizeof base;
    std::int32_t mode = 0;
    return FIND(qolive_centers_start)(kServers, std::strlen(kServers), &base) == QOLIVE_DONE &&
           FIND(qolive_heartbeat_manager_start)(kHeartbeat, std::strlen(kHeartbeat), &mode) == QOLIVE_DONE &&
           FIND(qolive_streams_init)() == QOLIVE_DONE;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: %s LIBRARY\n", arguments[0]);
        return 2;
    }
    const int threadsBefore = Threads();
    const long memoryBefore = ResidentKiB();
    const auto before = std::chrono::steady_clock::now();
    const SharedLibrary library(arguments[1]);
    const std::chrono::duration<double, std::milli> loading = std::chrono::steady_clock::now() - before;
    std::printf("load_ms %.3f\nload_kib %ld\nload_threads %d\n", loading.count(),
                ResidentKiB() - memoryBefore, Threads() - threadsBefore);
    if (!StartEverything(library)) return 1;
    std::this_thread::sleep_for(std::chrono::seconds(2));
    std::printf("rest_kib %ld\nrest_threads %d\n", ResidentKiB() - memoryBefore, Threads() - threadsBefore);
    std::fflush(stdout);
    EndProcess(0);
}
