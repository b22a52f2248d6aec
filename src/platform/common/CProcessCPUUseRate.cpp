#include "platform/HostReadings.h"
#include "platform/Sync.h"
#include "platform/common/ProcessReadings.h"

struct CProcessCPUUseRate::Impl {
    Mutex mutex;
    ProcessUseRate rate QOLIVE_GUARDED_BY(mutex);
};

CProcessCPUUseRate::CProcessCPUUseRate() : m_impl(std::make_unique<Impl>()) {}

CProcessCPUUseRate::~CProcessCPUUseRate() = default;

int CProcessCPUUseRate::GetProcessCpuUsage(const std::wstring& processName, bool /*unused*/) {
    const MutexLock lock(m_impl->mutex);
    return m_impl->rate.next(RecentProcesses(processName));
}
