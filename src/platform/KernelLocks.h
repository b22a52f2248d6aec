#pragma once

#include "base/ThreadAnnotations.h"
#include "platform/Kernel.h"

// The kernel's locks, with lock rules that the compiler can check.

namespace qolive {

/// Not std::shared_mutex: MinGW's, over winpthreads, now and then fails to lock where several threads want it
/// at once.
class QOLIVE_CAPABILITY("shared_mutex") SharedMutex {
public:
    SharedMutex() { InitializeSRWLock(&m_lock); }
    SharedMutex(const SharedMutex&) = delete;
    SharedMutex& operator=(const SharedMutex&) = delete;

    void lock() QOLIVE_ACQUIRE() { AcquireSRWLockExclusive(&m_lock); }
    void unlock() QOLIVE_RELEASE() { ReleaseSRWLockExclusive(&m_lock); }
    void lock_shared() QOLIVE_ACQUIRE_SHARED() { AcquireSRWLockShared(&m_lock); }
    void unlock_shared() QOLIVE_RELEASE_SHARED() { ReleaseSRWLockShared(&m_lock); }

private:
    SRWLOCK m_lock;
};

class QOLIVE_SCOPED_CAPABILITY ExclusiveLock {
public:
    explicit ExclusiveLock(SharedMutex& mutex) QOLIVE_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~ExclusiveLock() QOLIVE_RELEASE() { m_mutex.unlock(); }
    ExclusiveLock(const ExclusiveLock&) = delete;
    ExclusiveLock& operator=(const ExclusiveLock&) = delete;

private:
    SharedMutex& m_mutex;
};

class QOLIVE_SCOPED_CAPABILITY SharedLock {
public:
    explicit SharedLock(SharedMutex& mutex) QOLIVE_ACQUIRE_SHARED(mutex) : m_mutex(mutex) {
        m_mutex.lock_shared();
    }
    ~SharedLock() QOLIVE_RELEASE_GENERIC() { m_mutex.unlock_shared(); }
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;

private:
    SharedMutex& m_mutex;
};

/// Re-entrant: the thread that holds it may take it again.
class QOLIVE_CAPABILITY("critical_section") CriticalSection {
public:
    CriticalSection() { InitializeCriticalSection(&m_section); }
    ~CriticalSection() { DeleteCriticalSection(&m_section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void enter() QOLIVE_ACQUIRE() { EnterCriticalSection(&m_section); }
    void leave() QOLIVE_RELEASE() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

class QOLIVE_SCOPED_CAPABILITY CriticalSectionLock {
public:
    explicit CriticalSectionLock(CriticalSection& section) QOLIVE_ACQUIRE(section) : m_section(section) {
        m_section.enter();
    }
    ~CriticalSectionLock() QOLIVE_RELEASE() { m_section.leave(); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CriticalSection& m_section;
};

}  // namespace qolive
