#pragma once

#include <cstdint>
#include <string>
#include <vector>

// What the operating system counts; one implementation per system. Any thread may call these, and none
// blocks.

/// Processor time since the system started, over all processors, in a unit that both figures share.
struct ProcessorTimes {
    std::uint64_t busy = 0;
    std::uint64_t total = 0;
};

/// False, with `times` left as it was, when the system gives no figures.
bool ReadProcessorTimes(ProcessorTimes& times);

unsigned ProcessorCount();

/// A process is the same one as long as both its number and its start time are: numbers are used again.
struct ProcessTime {
    std::uint64_t id = 0;
    std::uint64_t started = 0;
    std::uint64_t usedNs = 0;  ///< processor time of all its threads since it started
};

/// The running processes named `name` whose times the caller may read, in no particular order.
std::vector<ProcessTime> ReadProcessTimes(const std::wstring& name);

struct PhysicalMemory {
    std::uint64_t totalBytes = 0;
    std::uint64_t availableBytes = 0;
};

/// 0 on success, else the system's error number with `memory` left as it was.
unsigned long ReadPhysicalMemory(PhysicalMemory& memory);
