#pragma once

#include <condition_variable>
#include <mutex>
#include <shared_mutex>

#include "platform/Kernel.h"
#include "platform/ThreadAnnotations.h"

// The standard library's locks and the kernel's critical section, with lock rules that the compiler can
// check.

class CAPABILITY("mutex") Mutex {
public:
    void lock() ACQUIRE() { m_mutex.lock(); }
    void unlock() RELEASE() { m_mutex.unlock(); }

private:
    friend class ConditionVariable;
    std::mutex m_mutex;
};

class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() RELEASE() { m_mutex.unlock(); }
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

    void wait(Mutex& mutex) REQUIRES(mutex) {
        Adopted lock(mutex.m_mutex);
        m_condition.wait(lock.held);
    }

    template <class Clock, class Duration>
    std::cv_status wait_until(Mutex& mutex, const std::chrono::time_point<Clock, Duration>& deadline)
        REQUIRES(mutex) {
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

class CAPABILITY("shared_mutex") SharedMutex {
public:
    void lock() ACQUIRE() { m_mutex.lock(); }
    void unlock() RELEASE() { m_mutex.unlock(); }
    void lock_shared() ACQUIRE_SHARED() { m_mutex.lock_shared(); }
    void unlock_shared() RELEASE_SHARED() { m_mutex.unlock_shared(); }

private:
    std::shared_mutex m_mutex;
};

class SCOPED_CAPABILITY ExclusiveLock {
public:
    explicit ExclusiveLock(SharedMutex& mutex) ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~ExclusiveLock() RELEASE() { m_mutex.unlock(); }
    ExclusiveLock(const ExclusiveLock&) = delete;
    ExclusiveLock& operator=(const ExclusiveLock&) = delete;

private:
    SharedMutex& m_mutex;
};

class SCOPED_CAPABILITY SharedLock {
public:
    explicit SharedLock(SharedMutex& mutex) ACQUIRE_SHARED(mutex) : m_mutex(mutex) { m_mutex.lock_shared(); }
    ~SharedLock() RELEASE_GENERIC() { m_mutex.unlock_shared(); }
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;

private:
    SharedMutex& m_mutex;
};

/// Re-entrant: the thread that holds it may take it again.
class CAPABILITY("critical_section") CriticalSection {
public:
    CriticalSection() { InitializeCriticalSection(&m_section); }
    ~CriticalSection() { DeleteCriticalSection(&m_section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void enter() ACQUIRE() { EnterCriticalSection(&m_section); }
    void leave() RELEASE() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

class SCOPED_CAPABILITY CriticalSectionLock {
public:
    explicit CriticalSectionLock(CriticalSection& section) ACQUIRE(section) : m_section(section) {
        m_section.enter();
    }
    ~CriticalSectionLock() RELEASE() { m_section.leave(); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CriticalSection& m_section;
};
