#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

#include "platform/HostReadings.h"
#include "readings/ProcessorUse.h"
#include "readings/SystemCounters.h"

// The readings over a system whose counters the test writes, and a clock that it sets.

namespace {

struct System {
    bool hasProcessorTimes = true;
    ProcessorTimes processorTimes;
    unsigned processors = 1;
    std::vector<ProcessTime> processes;
    std::vector<std::wstring> asked;
    unsigned long memoryError = 0;
    PhysicalMemory memory;
    long long nowMs = 1'000'000;
    bool hasClock = false;
};

System current;

class ScriptedCounters : public testing::Test {
protected:
    ScriptedCounters() {
        current = System();
        current.hasClock = true;
    }
    ~ScriptedCounters() override { current.hasClock = false; }

    static void pass(int ms) { current.nowMs += ms; }
    static void work(std::uint64_t busy, std::uint64_t total) {
        current.processorTimes.busy += busy;
        current.processorTimes.total += total;
    }
    static int readings() { return static_cast<int>(current.asked.size()); }
};

using SystemUse = ScriptedCounters;
using ProcessUse = ScriptedCounters;
using MemoryReading = ScriptedCounters;

TEST_F(SystemUse, IsMeasuredFromInitialize) {
    current.processorTimes = {1000, 9000};
    CCPUUseRate rate;
    EXPECT_EQ(rate.Initialize(), 0);
    pass(100);
    work(30, 100);
    EXPECT_EQ(rate.GetCPUUseRate(), 30);
    pass(99);
    work(100, 100);
    EXPECT_EQ(rate.GetCPUUseRate(), 30);
    pass(1);
    EXPECT_EQ(rate.GetCPUUseRate(), 100);
}

TEST_F(SystemUse, IsZeroAndInitializeFailsWhereTheSystemGivesNoFigures) {
    CCPUUseRate rate;
    EXPECT_EQ(rate.Initialize(), 0);
    pass(1000);
    work(50, 100);
    EXPECT_EQ(rate.GetCPUUseRate(), 50);
    current.hasProcessorTimes = false;
    pass(1000);
    EXPECT_EQ(rate.GetCPUUseRate(), 0);
    EXPECT_EQ(rate.Initialize(), -1);
}

TEST_F(ProcessUse, IsMeasuredFromTheFirstReading) {
    CProcessCPUUseRate rate;
    current.processors = 2;
    current.processes = {{1, 1, 5'000'000}};
    EXPECT_EQ(rate.GetProcessCpuUsage(L"QoLive", false), 0);
    pass(100);
    current.processes[0].usedNs += 50'000'000;
    EXPECT_EQ(rate.GetProcessCpuUsage(L"QoLive", false), 25);
}

TEST_F(ProcessUse, ObjectsThatAreReadWithinAHundredMillisecondsShareOneLookAtTheProcesses) {
    RecentProcesses(L"a");
    pass(99);
    EXPECT_EQ(RecentProcesses(L"a"), RecentProcesses(L"a"));
    EXPECT_EQ(readings(), 1);
    pass(1);
    RecentProcesses(L"a");
    EXPECT_EQ(readings(), 2);
    RecentProcesses(L"b");
    RecentProcesses(L"b");
    EXPECT_EQ(readings(), 3);
    EXPECT_EQ(current.asked.back(), L"b");
    RecentProcesses(L"a");
    EXPECT_EQ(readings(), 4);
}

TEST_F(MemoryReading, IsFilledInKibibytes) {
    current.memory = {8192, 2048};
    CurrentMemoryInfo info;
    EXPECT_EQ(GetCurrentMemoryInfo(&info), 0u);
    EXPECT_EQ(info.totalPhysical, 8u);
    EXPECT_EQ(info.availablePhysical, 2u);
}

TEST_F(MemoryReading, AFailureIsTheSystemsAndLeavesTheFiguresAlone) {
    current.memory = {8192, 2048};
    current.memoryError = ENODATA;
    CurrentMemoryInfo info;
    info.totalPhysical = 7;
    info.availablePhysical = 6;
    EXPECT_EQ(GetCurrentMemoryInfo(&info), static_cast<unsigned long>(ENODATA));
    EXPECT_EQ(info.totalPhysical, 7u);
    EXPECT_EQ(info.availablePhysical, 6u);
}

}  // namespace

bool ReadProcessorTimes(ProcessorTimes& times) {
    if (current.hasProcessorTimes) times = current.processorTimes;
    return current.hasProcessorTimes;
}

unsigned ProcessorCount() {
    return current.processors;
}

std::vector<ProcessTime> ReadProcessTimes(const std::wstring& name) {
    current.asked.push_back(name);
    return current.processes;
}

unsigned long ReadPhysicalMemory(PhysicalMemory& memory) {
    if (current.memoryError == 0) memory = current.memory;
    return current.memoryError;
}

// The linker sends calls of std::chrono::steady_clock::now here (--wrap).

extern "C" {

long long __real__ZNSt6chrono3_V212steady_clock3nowEv();
long long __wrap__ZNSt6chrono3_V212steady_clock3nowEv();

/// In nanoseconds, which is what a time point holds.
long long __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
    return current.hasClock ? current.nowMs * 1'000'000 : __real__ZNSt6chrono3_V212steady_clock3nowEv();
}

}  // extern "C"
