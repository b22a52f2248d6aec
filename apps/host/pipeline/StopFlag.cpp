#include "host/pipeline/StopFlag.h"

namespace host {

void StopFlag::Raise() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_raised.store(true);
    }
    m_condition.notify_all();
}

bool StopFlag::WaitUntil(Clock::time_point when) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_condition.wait_until(lock, when, [this] { return m_raised.load(); });
}

}  // namespace host
