#pragma once

#include <memory>
#include <thread>

#include "../base/Export.h"

// Classes of the host-readings library that this library does not use itself. It exports their copy members,
// which copy member by member, so that a host which shares these declarations can link them from here. They
// are this library's own, whatever host readings are linked in place of ours.

class CCPUUseRate;

/// Names a timer of the host's.
class CWinTimer {
public:
    CWinTimer() = default;
    explicit CWinTimer(unsigned int id) : m_id(id) {}
    CWinTimer(const CWinTimer&) = default;
    QOLIVE_API CWinTimer& operator=(const CWinTimer&);
    ~CWinTimer() = default;

    unsigned int id() const { return m_id; }

private:
    unsigned int m_id = 0;
};

/// Takes a reading of the system's processor use at each tick of a timer. Copies share the measurement.
class MgrCpuUsage final {
public:
    MgrCpuUsage();
    QOLIVE_API MgrCpuUsage(const MgrCpuUsage&);
    MgrCpuUsage& operator=(const MgrCpuUsage&) = delete;
    ~MgrCpuUsage();

    /// Percent at the last tick; 0 before the first.
    int usage() const { return m_usage; }

private:
    virtual void OnTimerEvent(unsigned int timerId);

    std::shared_ptr<CCPUUseRate> m_rate;
    int m_usage = 0;
};

namespace ThreadTask {

/// Holds a thread of the host's; copies share it. It neither starts nor joins it.
class CQoThreadImp {
public:
    QOLIVE_API CQoThreadImp();
    QOLIVE_API CQoThreadImp(const CQoThreadImp&);
    QOLIVE_API CQoThreadImp& operator=(const CQoThreadImp&);
    ~CQoThreadImp();

    std::shared_ptr<std::thread> thread;
};

}  // namespace ThreadTask
