#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/CPing.h"

// Readings of the machine and of the host process. Every object may be used from any thread: each locks
// itself around a reading.

/// The system's processor use, over all processors.
class CCPUUseRate {
public:
    CCPUUseRate();
    ~CCPUUseRate();
    CCPUUseRate(const CCPUUseRate&) = delete;
    CCPUUseRate& operator=(const CCPUUseRate&) = delete;

    /// Starts the measurement. 0 on success, -1 when the system gives no figures. Does not block.
    int Initialize();

    /// Percent (0 to 100) of all processors in use since the previous reading of this object (since
    /// Initialize for the first one). A reading within 100 ms of the one before repeats its result, as
    /// systems count in steps of 10 to 16 ms; the next one covers that time too. 0 when the system gives no
    /// figures. Does not block.
    int GetCPUUseRate();

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// The processor use of one process, by name.
class CProcessCPUUseRate {
public:
    CProcessCPUUseRate();
    virtual ~CProcessCPUUseRate();
    CProcessCPUUseRate(const CProcessCPUUseRate&) = delete;
    CProcessCPUUseRate& operator=(const CProcessCPUUseRate&) = delete;

    /// Percent (0 to 100, of all processors) used by the process named `processName` since the previous
    /// reading of this object; the first reading only starts the measurement and returns 0. The name is
    /// matched without regard to ASCII case and to an ending ".exe". Several processes of that name count
    /// together; a process that has started or ended since the previous reading does not count; 0 when there
    /// is none. A reading within 100 ms of the one before repeats its result. The second argument is not
    /// used. Does not block, but goes through all processes of the machine, which takes some milliseconds;
    /// objects that are read within 100 ms of each other share that work.
    int GetProcessCpuUsage(const std::wstring& processName, bool);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// Physical memory, in KiB: 32-bit words hold up to 4 TiB, and a larger machine reads as 4 TiB (the ratio of
/// the two figures stays right).
struct CurrentMemoryInfo {
    std::uint32_t reserved1 = 0;
    std::uint32_t reserved2 = 0;
    std::uint32_t reserved3 = 0;
    std::uint32_t totalPhysical = 0;
    std::uint32_t availablePhysical = 0;
};

/// Fills `info`; 0 on success, else the system's error number with `info` left as it was. Does not block.
unsigned long GetCurrentMemoryInfo(CurrentMemoryInfo* info);
