#include "integration/mqtt/SimulatedTime.h"

#include <algorithm>

namespace {

// Of real time: what has been sent on this machine has come by then.
constexpr int kSettleMs = 20;

}  // namespace

SimulatedTime::Ready SimulatedTime::wait(int socket, Interest interest, int timeoutMs) {
    const bool moved = others && others();
    const Ready ready = SocketWaiter::wait(socket, interest, moved || interest.write ? kSettleMs : 0);
    if (!moved && !ready.readable && !ready.writable) pass(std::chrono::milliseconds(timeoutMs));
    return ready;
}

std::int64_t SimulatedTime::calendarSeconds() const {
    return kStart + std::chrono::duration_cast<std::chrono::seconds>(m_elapsed).count();
}

void SimulatedTime::pass(Microseconds most) {
    if (most == Microseconds(0)) {
        ++m_emptyWaits;
        most = Microseconds(1);  // or it would go on for ever
    }
    m_longestWait = std::max(m_longestWait, most);
    const Microseconds end = m_elapsed + most;
    if (m_actions.empty() || m_actions.begin()->first > end) {
        m_elapsed = end;
        return;
    }
    m_elapsed = m_actions.begin()->first;
    while (!m_actions.empty() && m_actions.begin()->first <= m_elapsed) {
        const auto action = m_actions.extract(m_actions.begin());
        action.mapped()();
    }
}
