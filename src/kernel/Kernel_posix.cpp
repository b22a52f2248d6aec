#include "platform/Kernel.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <memory>
#include <mutex>
#include <new>

#include "kernel/LibraryThread_posix.h"

namespace {

/// Set in a process that was forked while, or after, the library had threads.
std::atomic<bool> threadsLeftBehind{false};

struct ThreadRecord {
    std::mutex mutex;
    std::condition_variable terminated;
    bool terminationAsked = false;
    DWORD exitCode = STILL_ACTIVE;
    DWORD terminationCode = 0;
    DWORD id = 0;
    DWORD (*start)(void*) = nullptr;
    void* parameter = nullptr;
};

using ThreadHandle = std::shared_ptr<ThreadRecord>;

// In the thread's own block, not in one that is allocated at the first use, which costs a look-up each time.
[[gnu::tls_model("initial-exec")]] thread_local ThreadRecord* currentThread = nullptr;
[[gnu::tls_model("initial-exec")]] thread_local DWORD lastError = 0;

DWORD NextThreadId() {
    static std::atomic<DWORD> last{0};
    return ++last;
}

ThreadHandle& FromHandle(HANDLE thread) {
    return *static_cast<ThreadHandle*>(thread);
}

void SetExitCode(ThreadRecord& record, DWORD returned) {
    const std::lock_guard<std::mutex> lock(record.mutex);
    record.exitCode = record.terminationAsked ? record.terminationCode : returned;
}

void* RunThread(void* argument) {
    const std::unique_ptr<ThreadHandle> own(static_cast<ThreadHandle*>(argument));
    ThreadRecord& record = **own;
    currentThread = &record;
    EnterLibraryThread();
    SetExitCode(record, record.start(record.parameter));
    return nullptr;
}

int StartDetached(ThreadHandle* argument) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread{};
    const HostSignalsBlocked inThread;
    const int error = pthread_create(&thread, &attributes, RunThread, argument);
    pthread_attr_destroy(&attributes);
    return error;
}

ThreadHandle RecordFor(DWORD (*start)(void*), void* parameter) {
    auto record = std::make_shared<ThreadRecord>();
    record->id = NextThreadId();
    record->start = start;
    record->parameter = parameter;
    return record;
}

HANDLE FailWith(int error) {
    lastError = static_cast<DWORD>(error);
    return nullptr;
}

void SleepUnlessTerminated(ThreadRecord& record, std::chrono::milliseconds duration) {
    std::unique_lock<std::mutex> lock(record.mutex);
    record.terminated.wait_until(lock, std::chrono::steady_clock::now() + duration,
                                 [&record] { return record.terminationAsked; });
}

void SleepPlainly(DWORD milliseconds) {
    timespec left{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace

extern "C" {

HANDLE CreateThread(void* /*security*/, size_t /*stackSize*/, DWORD (*start)(void*), void* parameter,
                    DWORD /*flags*/, DWORD* threadId) {
    try {
        auto handle = std::make_unique<ThreadHandle>(RecordFor(start, parameter));
        auto own = std::make_unique<ThreadHandle>(*handle);
        if (const int error = StartDetached(own.get()); error != 0) return FailWith(error);
        static_cast<void>(own.release());  // the thread's now
        if (threadId) *threadId = (*handle)->id;
        return handle.release();
    } catch (const std::bad_alloc&) {
        return FailWith(ENOMEM);
    }
}

BOOL GetExitCodeThread(HANDLE thread, DWORD* exitCode) {
    if (!thread) return 0;
    ThreadRecord& record = *FromHandle(thread);
    const std::lock_guard<std::mutex> lock(record.mutex);
    *exitCode = record.exitCode;
    return 1;
}

BOOL TerminateThread(HANDLE thread, DWORD exitCode) {
    if (!thread) return 0;
    ThreadRecord& record = *FromHandle(thread);
    const std::lock_guard<std::mutex> lock(record.mutex);
    record.terminationAsked = true;
    record.terminationCode = exitCode;
    record.terminated.notify_all();
    return 1;
}

BOOL CloseHandle(HANDLE thread) {
    if (!thread) return 0;
    delete &FromHandle(thread);
    return 1;
}

DWORD GetLastError() {
    return lastError;
}

DWORD GetCurrentThreadId() {
    return currentThread ? currentThread->id : 0;
}

void InitializeCriticalSection(CRITICAL_SECTION* section) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(section, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
    pthread_mutex_destroy(section);
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
    pthread_mutex_lock(section);
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
    pthread_mutex_unlock(section);
}

void InitializeSRWLock(SRWLOCK* lock) {
    pthread_rwlock_init(lock, nullptr);
}

void AcquireSRWLockExclusive(SRWLOCK* lock) {
    pthread_rwlock_wrlock(lock);
}

void ReleaseSRWLockExclusive(SRWLOCK* lock) {
    pthread_rwlock_unlock(lock);
}

void AcquireSRWLockShared(SRWLOCK* lock) {
    pthread_rwlock_rdlock(lock);
}

void ReleaseSRWLockShared(SRWLOCK* lock) {
    pthread_rwlock_unlock(lock);
}

void Sleep(DWORD milliseconds) {
    if (currentThread)
        SleepUnlessTerminated(*currentThread, std::chrono::milliseconds(milliseconds));
    else
        SleepPlainly(milliseconds);
}

unsigned long long GetTickCount64() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<unsigned long long>(now.tv_sec) * 1000 +
           static_cast<unsigned long long>(now.tv_nsec) / 1000000;
}

long long _time64(long long* time) {
    const long long now = std::time(nullptr);
    if (time) *time = now;
    return now;
}

}  // extern "C"

void AwaitTermination() {
    if (!currentThread) return;
    std::unique_lock<std::mutex> lock(currentThread->mutex);
    currentThread->terminated.wait(lock, [] { return currentThread->terminationAsked; });
}

// The shared library is linked with -z nodelete, which keeps it mapped from the start. What a first thread
// changes is what a fork does: its child lacks the thread.
void KeepLibraryLoaded() {
    static const int watched = pthread_atfork(nullptr, nullptr, [] { threadsLeftBehind = true; });
    static_cast<void>(watched);
}

// At the exit of a process static destructors run beside living threads here, so that joining them is both
// possible and needed. In a child they are gone.
bool IsProcessEnding() {
    return threadsLeftBehind.load(std::memory_order_relaxed);
}
