#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The ids of the records that go out. Pure: the time is an argument.

namespace data_report {

/// The clock of the ids: the wall clock of one moment, carried on by the steady clock, so that no later
/// change of the wall clock makes an id come twice.
struct IdClock {
    std::int64_t wallMs = 0;    ///< ms since 1970-01-01 UTC at that moment
    std::int64_t steadyNs = 0;  ///< the steady clock then

    /// In ms since 1970-01-01 UTC, when the steady clock shows `nowNs`.
    std::int64_t At(std::int64_t nowNs) const { return wallMs + (nowNs - steadyNs) / 1000000; }
};

/// Where an id stands in time: its millisecond, and its number within that millisecond.
struct IdSlot {
    std::int64_t ms = -1;
    std::int64_t sequence = 0;  ///< 0 to 4095
};

/// The slot of the id after the one in `last`, at `nowMs`. None while the millisecond of `last` is the
/// present one and full: to be asked again when the clock has gone on.
std::optional<IdSlot> NextIdSlot(const IdSlot& last, std::int64_t nowMs);

/// The same, waiting for the clock where it has to, a millisecond at most. `nowMs` is called for each look at
/// it.
template <class NowMs>
IdSlot AwaitIdSlot(const IdSlot& last, const NowMs& nowMs) {
    std::optional<IdSlot> slot;
    while (!slot)
        slot = NextIdSlot(last, nowMs());
    return *slot;
}

/// The id in decimal: the milliseconds since an epoch in 2018, the data centre (5 bits), the worker (5), the
/// sequence (12). Negative before that epoch.
std::string MessageId(const IdSlot& slot, std::int64_t datacenter, std::int64_t worker);

}  // namespace data_report
