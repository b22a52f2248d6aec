#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "platform/Kernel.h"
#include "platform/ThreadAnnotations.h"

// Locks with rules that the compiler can check: the standard library's mutex, a reader/writer lock, and the
// kernel's critical section.

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

/// A slim reader/writer lock: one writer, or any number of readers. For short sections that are entered often
/// and seldom contended, where the standard library's costs more than the section itself. Not re-entrant, and
/// readers that overlap without end keep a writer waiting. It must outlive every call of it, the unlocking
/// ones included.
class CAPABILITY("shared_mutex") SharedMutex {
public:
    void lock() ACQUIRE() {
        if (!tryChange(kFree, kWriter)) waitUntil([this] { return tryEnterAsWriter(); });
    }
    void unlock() RELEASE() { leave(kWriter); }

    void lock_shared() ACQUIRE_SHARED() {
        if (!tryEnterAsReader()) waitUntil([this] { return tryEnterAsReader(); });
    }
    void unlock_shared() RELEASE_SHARED() { leave(kReader); }

private:
    // The state: a writer's bit, a bit that says that someone waits, and the number of readers above them.
    static constexpr std::uint32_t kFree = 0;
    static constexpr std::uint32_t kWriter = 1;
    static constexpr std::uint32_t kWaiters = 2;
    static constexpr std::uint32_t kReader = 4;

    bool tryChange(std::uint32_t from, std::uint32_t to) {
        return m_state.compare_exchange_strong(from, to, std::memory_order_acquire,
                                               std::memory_order_relaxed);
    }

    bool tryEnterAsWriter() {
        const std::uint32_t waiters = m_state.load(std::memory_order_relaxed) & kWaiters;
        return tryChange(waiters, waiters | kWriter);
    }

    bool tryEnterAsReader() {
        std::uint32_t state = m_state.load(std::memory_order_relaxed);
        while ((state & kWriter) == 0) {
            if (m_state.compare_exchange_weak(state, state + kReader, std::memory_order_acquire,
                                              std::memory_order_relaxed))
                return true;
        }
        return false;
    }

    void leave(std::uint32_t holder) {
        const std::uint32_t before = m_state.fetch_sub(holder, std::memory_order_release);
        if (before & kWaiters) wakeWaiters();
    }

    // Who waits has set its bit under the mutex and is in the wait before the mutex is free again.
    void wakeWaiters() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_state.fetch_and(~kWaiters, std::memory_order_relaxed);
        m_left.notify_all();
    }

    // Waits only once the bit is set in a state that someone still has to leave.
    template <class TryEnter>
    void waitUntil(TryEnter tryEnter) {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!tryEnter()) {
            const std::uint32_t state = m_state.load(std::memory_order_relaxed);
            const bool held = (state & ~kWaiters) != kFree;
            if (held && tryChange(state, state | kWaiters)) m_left.wait(lock);
        }
    }

    std::atomic<std::uint32_t> m_state{kFree};
    std::mutex m_mutex;
    std::condition_variable m_left;
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
