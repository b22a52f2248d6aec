#pragma once

#include <cstdint>
#include <utility>

namespace qolive {

/// What has been dropped and not been told of. A flood of drops becomes one line a second. Used under a lock
/// of its owner's.
class DropNotice {
public:
    void add() { ++m_untold; }

    /// How many drops a line is to tell of at `nowMs`; 0: none is due yet.
    std::uint64_t take(std::uint64_t nowMs) {
        if (m_untold == 0 || nowMs < m_notBefore) return 0;
        m_notBefore = nowMs + kPeriodMs;
        return takeAll();
    }

    /// The same at once.
    std::uint64_t takeAll() { return std::exchange(m_untold, 0); }

private:
    static constexpr std::uint64_t kPeriodMs = 1000;

    std::uint64_t m_untold = 0;
    std::uint64_t m_notBefore = 0;
};

}  // namespace qolive
