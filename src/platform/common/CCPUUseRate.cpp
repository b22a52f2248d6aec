#include "platform/HostReadings.h"
#include "platform/Sync.h"
#include "platform/common/SystemCounters.h"
#include "platform/common/UseRate.h"

struct CCPUUseRate::Impl {
    Mutex mutex;
    SystemUseRate rate QOLIVE_GUARDED_BY(mutex);
};

CCPUUseRate::CCPUUseRate() : m_impl(std::make_unique<Impl>()) {}

CCPUUseRate::~CCPUUseRate() = default;

int CCPUUseRate::Initialize() {
    const MutexLock lock(m_impl->mutex);
    ProcessorTimes times;
    if (!ReadProcessorTimes(times)) return -1;
    m_impl->rate.start(times, std::chrono::steady_clock::now());
    return 0;
}

int CCPUUseRate::GetCPUUseRate() {
    const MutexLock lock(m_impl->mutex);
    ProcessorTimes times;
    if (!ReadProcessorTimes(times)) return 0;
    return m_impl->rate.next(times, std::chrono::steady_clock::now());
}
