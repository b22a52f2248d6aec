#include <algorithm>
#include <cmath>
#include <cstddef>

#include "data_report/StreamQualityReport.h"
#include "data_report/StreamQulityData.h"
#include "platform/HostProcess.h"
#include "platform/Kernel.h"

namespace data_report {
namespace {

constexpr double kMsPerNetworkGrade = 50.0;

// The multiplication wraps for byte counts that no stream reaches, where a signed one would be undefined.
std::int64_t KbpsOf(std::int64_t bytesPerSecond) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(bytesPerSecond) * 8U) / 1000;
}

std::int64_t TakePerSecond(StreamQulityData& data, DataTypeEnum counter, std::uint32_t seconds)
    QOLIVE_REQUIRES(data.m_lock) {
    return data.TakeValue(counter) / static_cast<std::int64_t>(seconds);
}

std::uint32_t TakeFps(StreamQulityData& data, DataTypeEnum frames, std::uint32_t seconds)
    QOLIVE_REQUIRES(data.m_lock) {
    return static_cast<std::uint32_t>(TakePerSecond(data, frames, seconds));
}

std::uint32_t TakeKbps(StreamQulityData& data, DataTypeEnum bytes, std::uint32_t seconds)
    QOLIVE_REQUIRES(data.m_lock) {
    return static_cast<std::uint32_t>(KbpsOf(TakePerSecond(data, bytes, seconds)));
}

std::uint16_t PercentInUse(const CurrentMemoryInfo& memory) {
    const std::uint32_t used = memory.totalPhysical - memory.availablePhysical;
    const double percent = static_cast<double>(used) / memory.totalPhysical * 100.0;
    return static_cast<std::uint16_t>(static_cast<std::int64_t>(percent));
}

std::uint16_t MemoryLoad() {
    CurrentMemoryInfo memory;
    const bool known = GetCurrentMemoryInfo(&memory) == 0 && memory.totalPhysical != 0;
    return known ? PercentInUse(memory) : std::uint16_t{0};
}

std::uint16_t NetworkGrade(std::uint64_t rttMs) {
    const double grade = std::floor(static_cast<double>(rttMs) / kMsPerNetworkGrade);
    return static_cast<std::uint16_t>(static_cast<std::int64_t>(grade));
}

}  // namespace

int StreamQualityReport::SystemCpu() {
    return m_cpuRate->GetCPUUseRate();
}

int StreamQualityReport::HostProcessCpu() {
    return m_processCpuRate->GetProcessCpuUsage(HostProcess(), false);
}

void StreamQualityReport::CollectStreamData() {
    if (m_collectPeriod == 0 || !m_data) return;
    const std::int64_t now = _time64(nullptr);
    StreamQulityData& data = *m_data;
    const qolive::ExclusiveLock lock(data.m_lock);
    m_streamTimes.push_back(now);
    m_acFpsSamples.push_back(TakeFps(data, DataTypeEnum::AudioFramesCaptured, m_collectPeriod));
    m_aeFpsSamples.push_back(TakeFps(data, DataTypeEnum::AudioFramesEncoded, m_collectPeriod));
    m_asFpsSamples.push_back(TakeFps(data, DataTypeEnum::AudioFramesSent, m_collectPeriod));
    m_aeBitrateSamples.push_back(TakeKbps(data, DataTypeEnum::AudioBytesEncoded, m_collectPeriod));
    m_asBitrateSamples.push_back(TakeKbps(data, DataTypeEnum::AudioBytesSent, m_collectPeriod));
    m_vcFpsSamples.push_back(TakeFps(data, DataTypeEnum::VideoFramesCaptured, m_collectPeriod));
    m_veFpsSamples.push_back(TakeFps(data, DataTypeEnum::VideoFramesEncoded, m_collectPeriod));
    m_vsFpsSamples.push_back(TakeFps(data, DataTypeEnum::VideoFramesSent, m_collectPeriod));
    m_veBitrateSamples.push_back(TakeKbps(data, DataTypeEnum::VideoBytesEncoded, m_collectPeriod));
    m_vsBitrateSamples.push_back(TakeKbps(data, DataTypeEnum::VideoBytesSent, m_collectPeriod));
}

void StreamQualityReport::CollectCpuData() {
    if (!m_data) return;
    m_deviceTimes.push_back(_time64(nullptr));
    m_cpuSamples.push_back(static_cast<std::uint16_t>(SystemCpu()));
    m_appCpuSamples.push_back(static_cast<std::uint16_t>(HostProcessCpu()));
    m_memSamples.push_back(MemoryLoad());
    m_netSamples.push_back(NetworkGrade(m_rttMs));
}

template <class Action>
void StreamQualityReport::ForEachQueue(const Action& action) {
    action(m_streamTimes);
    action(m_vcFpsSamples);
    action(m_veFpsSamples);
    action(m_vsFpsSamples);
    action(m_acFpsSamples);
    action(m_aeFpsSamples);
    action(m_asFpsSamples);
    action(m_veBitrateSamples);
    action(m_vsBitrateSamples);
    action(m_aeBitrateSamples);
    action(m_asBitrateSamples);
    action(m_deviceTimes);
    action(m_cpuSamples);
    action(m_appCpuSamples);
    action(m_memSamples);
    action(m_netSamples);
}

void StreamQualityReport::ClearSamples() {
    ForEachQueue([](auto& queue) { queue.clear(); });
}

// All queues grow together, so what one has more than another belongs to a sample that was not finished.
void StreamQualityReport::DropUnevenSamples() {
    std::size_t shortest = m_streamTimes.size();
    ForEachQueue([&](auto& queue) { shortest = std::min(shortest, queue.size()); });
    ForEachQueue([&](auto& queue) { queue.resize(shortest); });
}

}  // namespace data_report
