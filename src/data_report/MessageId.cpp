#include "data_report/MessageId.h"

namespace data_report {
namespace {

constexpr std::int64_t kEpochMs = 1534832906275;  // 2018-08-21 06:28:26.275 UTC
constexpr std::int64_t kSequences = 4096;
constexpr unsigned kSequenceBits = 12;
constexpr unsigned kWorkerBits = 5;
constexpr unsigned kTimeShift = 22;

}  // namespace

std::optional<IdSlot> NextIdSlot(const IdSlot& last, std::int64_t nowMs) {
    if (nowMs != last.ms) return IdSlot{nowMs, 0};
    const std::int64_t next = last.sequence + 1;
    if (next == kSequences) return std::nullopt;
    return IdSlot{nowMs, next};
}

std::string MessageId(const IdSlot& slot, std::int64_t datacenter, std::int64_t worker) {
    const std::int64_t origin = ((datacenter << kWorkerBits) | worker) << kSequenceBits;
    const auto age = static_cast<std::uint64_t>(slot.ms - kEpochMs) << kTimeShift;
    return std::to_string(static_cast<std::int64_t>(age) | origin | slot.sequence);
}

}  // namespace data_report
