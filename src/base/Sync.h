#pragma once

#include <condition_variable>
#include <mutex>

#include "ThreadAnnotations.h"

// The standard library's locks, with lock rules that the compiler can check.

namespace qolive {

class QOLIVE_CAPABILITY("mutex") Mutex {
public:
    void lock() QOLIVE_ACQUIRE() { m_mutex.lock(); }
    void unlock() QOLIVE_RELEASE() { m_mutex.unlock(); }

private:
    friend class ConditionVariable;
    std::mutex m_mutex;
};

class QOLIVE_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) QOLIVE_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() QOLIVE_RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

/// Waits on a Mutex that the caller holds. As everywhere, a wait can end without a notification.
class ConditionVariable {
public:
    void notify_one() { m_condition.notify_one(); }
    void notify_all() { m_condition.notify_all(); }

    void wait(Mutex& mutex) QOLIVE_REQUIRES(mutex) {
        Adopted lock(mutex.m_mutex);
        m_condition.wait(lock.held);
    }

    template <class Clock, class Duration>
    std::cv_status wait_until(Mutex& mutex, const std::chrono::time_point<Clock, Duration>& deadline)
        QOLIVE_REQUIRES(mutex) {
        Adopted lock(mutex.m_mutex);
        return m_condition.wait_until(lock.held, deadline);
    }

private:
    struct Adopted {
        explicit Adopted(std::mutex& mutex) : held(mutex, std::adopt_lock) {}
        ~Adopted() { held.release(); }
        std::unique_lock<std::mutex> held;
    };
    std::condition_variable m_condition;
};

}  // namespace qolive
