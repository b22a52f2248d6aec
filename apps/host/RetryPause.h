#pragma once

#include <algorithm>
#include <chrono>

namespace host {

/// How long to wait before a stream that was lost is tried again: a second, and each time twice as long up to
/// half a minute, until one has held for a while.
class RetryPause {
public:
    using Time = std::chrono::milliseconds;
    static constexpr Time kLeast{1000};
    static constexpr Time kMost{30000};
    static constexpr Time kHeldLongEnough{10000};

    /// `held`: how long the stream that was lost had been sent; 0 when it never was.
    Time Next(Time held) {
        if (held >= kHeldLongEnough) m_next = kLeast;
        const Time pause = m_next;
        m_next = std::min(2 * m_next, kMost);
        return pause;
    }

private:
    Time m_next = kLeast;
};

}  // namespace host
