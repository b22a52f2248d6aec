#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "readings/SystemCounters.h"

// Percent of all processors in use between one reading and the next. Systems count processor time in steps of
// 10 to 16 ms, so a reading that comes sooner than kShortestWindow after the one before repeats its result
// instead of dividing one step by next to nothing, and the next reading covers that time too.

using ReadingTime = std::chrono::steady_clock::time_point;

constexpr std::chrono::milliseconds kShortestWindow{100};

/// `part` of `whole` in percent, rounded to the nearest and never above 100; 0 of nothing.
int PercentOf(std::uint64_t part, std::uint64_t whole);

class SystemUseRate {
public:
    void start(const ProcessorTimes& times, ReadingTime now);

    /// Starts the measurement and is 0 when nothing has been started.
    int next(const ProcessorTimes& times, ReadingTime now);

private:
    bool m_started = false;
    ReadingTime m_when;
    ProcessorTimes m_times;
    int m_percent = 0;
};

/// The processes of one name at one moment.
struct ProcessList {
    ReadingTime when;
    unsigned processors = 1;
    std::vector<ProcessTime> processes;
};

class ProcessUseRate {
public:
    /// The first one starts the measurement and is 0. Only processes that are in this list and in the one
    /// before count.
    int next(std::shared_ptr<const ProcessList> list);

private:
    std::shared_ptr<const ProcessList> m_list;
    int m_percent = 0;
};

/// The processes named `name`, not older than kShortestWindow. Going through all processes of a machine costs
/// milliseconds, so the readings of several streams at one tick share one list. Any thread may call it.
std::shared_ptr<const ProcessList> RecentProcesses(const std::wstring& name);
