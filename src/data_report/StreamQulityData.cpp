#include "data_report/StreamQulityData.h"

#include <utility>

namespace data_report {
namespace {

std::size_t SlotOf(DataTypeEnum type) {
    return static_cast<std::size_t>(type);
}

std::size_t SlotOf(StringDataTypeEnum type) {
    return static_cast<std::size_t>(type);
}

bool IsDataType(DataTypeEnum type) {
    return static_cast<std::int32_t>(type) >= 0 && static_cast<std::int32_t>(type) < kDataTypes;
}

bool IsStringDataType(StringDataTypeEnum type) {
    return static_cast<std::int32_t>(type) >= 0 && static_cast<std::int32_t>(type) < kStringDataTypes;
}

bool IsCounter(DataTypeEnum type) {
    return static_cast<std::int32_t>(type) < kCounters;
}

// Signed overflow is undefined, and a host may feed anything.
std::int64_t SumModulo64Bits(std::int64_t left, std::int64_t right) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) + static_cast<std::uint64_t>(right));
}

}  // namespace

StreamQulityData::StreamQulityData(const std::string& streamId, const StreamTypeEnum& streamType)
    : m_streamId(streamId), m_streamType(streamType) {}

void StreamQulityData::AddData(const DataTypeEnum& type, const std::int64_t& value) {
    if (!IsDataType(type)) return;
    const qolive::ExclusiveLock lock(m_lock);
    std::int64_t& slot = m_values[SlotOf(type)];
    slot = IsCounter(type) ? SumModulo64Bits(slot, value) : value;
}

void StreamQulityData::SetString(const StringDataTypeEnum& type, const std::string& value) {
    if (!IsStringDataType(type)) return;
    const qolive::ExclusiveLock lock(m_lock);
    m_strings[SlotOf(type)] = value;
}

std::int64_t StreamQulityData::Value(DataTypeEnum type) const {
    return m_values[SlotOf(type)];
}

std::int64_t StreamQulityData::TakeValue(DataTypeEnum type) {
    return std::exchange(m_values[SlotOf(type)], 0);
}

const std::string& StreamQulityData::Text(StringDataTypeEnum type) const {
    return m_strings[SlotOf(type)];
}

}  // namespace data_report
