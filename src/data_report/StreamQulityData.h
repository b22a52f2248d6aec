#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "data_report/ReportTypes.h"
#include "platform/KernelLocks.h"

namespace data_report {

// The counters come before the settings; each enumeration ends with its last slot.
constexpr auto kCounters = static_cast<std::int32_t>(DataTypeEnum::UnusedSetting12);
constexpr auto kDataTypes = static_cast<std::int32_t>(DataTypeEnum::ResultCode) + 1;
constexpr auto kStringDataTypes = static_cast<std::int32_t>(StringDataTypeEnum::StreamId) + 1;

/// What the host has fed for one stream. Shared by the registry and the stream's report; any thread may feed
/// it.
class StreamQulityData {
public:
    StreamQulityData(const std::string& streamId, const StreamTypeEnum& streamType);

    /// Adds to a counter (modulo 2^64) or replaces a setting; ignores a type that is neither.
    void AddData(const DataTypeEnum& type, const std::int64_t& value) QOLIVE_EXCLUDES(m_lock);
    void SetString(const StringDataTypeEnum& type, const std::string& value) QOLIVE_EXCLUDES(m_lock);

    std::int64_t Value(DataTypeEnum type) const QOLIVE_REQUIRES_SHARED(m_lock);
    std::int64_t TakeValue(DataTypeEnum type) QOLIVE_REQUIRES(m_lock);  ///< reads and zeroes
    const std::string& Text(StringDataTypeEnum type) const QOLIVE_REQUIRES_SHARED(m_lock);

    const std::string m_streamId;
    const StreamTypeEnum m_streamType;
    mutable qolive::SharedMutex m_lock;  ///< guards everything below

private:
    std::array<std::int64_t, kDataTypes> m_values QOLIVE_GUARDED_BY(m_lock){};
    std::array<std::string, kStringDataTypes> m_strings QOLIVE_GUARDED_BY(m_lock);
};

}  // namespace data_report
