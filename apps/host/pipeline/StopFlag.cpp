#include "host/pipeline/StopFlag.h"

namespace host {

void StopFlag::Raise() {
    {
        qolive::MutexLock lock(m_mutex);
        m_raised.store(true);
    }
    m_condition.notify_all();
}

bool StopFlag::WaitUntil(Clock::time_point when) {
    qolive::MutexLock lock(m_mutex);
    while (!m_raised.load() && Clock::now() < when) {
        m_condition.wait_until(m_mutex, when);
    }
    return m_raised.load();
}

}  // namespace host
