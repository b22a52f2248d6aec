#pragma once

#include <atomic>

#include "base/Sync.h"

namespace qolive {

/// Sets `flag`, which threads look at while they hold `mutex` and before they wait on `condition`, and wakes
/// them all. The flag is set without the mutex, so that whoever looks at it without waiting learns of it at
/// once. The mutex is passed through before the wake-up: a thread that waits either sees the flag or waits
/// already.
inline void RaiseFlag(std::atomic<bool>& flag, Mutex& mutex, ConditionVariable& condition)
    QOLIVE_EXCLUDES(mutex) {
    flag = true;
    { const MutexLock passing(mutex); }
    condition.notify_all();
}

}  // namespace qolive
