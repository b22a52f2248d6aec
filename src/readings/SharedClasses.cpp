#include "platform/SharedClasses.h"

#include "platform/HostReadings.h"

CPing& CPing::operator=(const CPing&) = default;

CWinTimer& CWinTimer::operator=(const CWinTimer&) = default;

MgrCpuUsage::MgrCpuUsage() : m_rate(std::make_shared<CCPUUseRate>()) {
    m_rate->Initialize();
}

MgrCpuUsage::MgrCpuUsage(const MgrCpuUsage&) = default;
MgrCpuUsage::~MgrCpuUsage() = default;

void MgrCpuUsage::OnTimerEvent(unsigned int /*timerId*/) {
    m_usage = m_rate->GetCPUUseRate();
}

namespace ThreadTask {

CQoThreadImp::CQoThreadImp() = default;
CQoThreadImp::CQoThreadImp(const CQoThreadImp&) = default;
CQoThreadImp& CQoThreadImp::operator=(const CQoThreadImp&) = default;
CQoThreadImp::~CQoThreadImp() = default;

}  // namespace ThreadTask
