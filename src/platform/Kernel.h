#pragma once

// Kernel services: <windows.h> on Windows and, elsewhere, the same few names over POSIX. The four subsystems
// use no other operating system interface than the names below.

#if defined(_WIN32)

#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#endif
#include <time.h>
#include <windows.h>

#else

#include <pthread.h>

#include <cstddef>

using HANDLE = void*;
using DWORD = unsigned long;
using BOOL = int;
using CRITICAL_SECTION = pthread_mutex_t;
using SRWLOCK = pthread_rwlock_t;

#define WINAPI
constexpr DWORD STILL_ACTIVE = 259;  // NOLINT(readability-identifier-naming): as Windows has it

extern "C" {

/// Starts a thread, with signals as StartLibraryThread (LibraryThread.h) has them. `security`, `stackSize`
/// and `flags` are ignored. Null on failure, with the reason in GetLastError. `threadId`, if not null,
/// receives an identifier that no other thread of the process has had.
HANDLE CreateThread(void* security, size_t stackSize, DWORD (*start)(void*), void* parameter, DWORD flags,
                    DWORD* threadId);

/// Writes STILL_ACTIVE while the thread runs, then what it returned or was terminated with. 0 on a null
/// handle.
BOOL GetExitCodeThread(HANDLE thread, DWORD* exitCode);

/// Asks the thread to end with that exit code: its current Sleep and every later one returns at once, and so
/// does AwaitTermination. The thread itself returns; its stack is never unwound by force, which a host with
/// another C++ runtime than the library's does not survive. Does not wait. 0 on a null handle.
BOOL TerminateThread(HANDLE thread, DWORD exitCode);

/// Releases the handle; the thread goes on. 0 on a null handle.
BOOL CloseHandle(HANDLE thread);

/// The reason for the calling thread's last failed CreateThread (an errno value).
DWORD GetLastError();

/// The identifier that CreateThread gave for the calling thread; 0 on a thread made otherwise.
DWORD GetCurrentThreadId();

void InitializeCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);

/// A lock for many readers or one writer. It needs no clean-up.
void InitializeSRWLock(SRWLOCK* lock);
void AcquireSRWLockExclusive(SRWLOCK* lock);
void ReleaseSRWLockExclusive(SRWLOCK* lock);
void AcquireSRWLockShared(SRWLOCK* lock);
void ReleaseSRWLockShared(SRWLOCK* lock);

/// Returns at once on a thread that TerminateThread was called for.
void Sleep(DWORD milliseconds);

/// Milliseconds since the system started, time asleep included.
unsigned long long GetTickCount64();

/// Seconds since 1970-01-01 UTC; also stored in `time` if that is not null.
long long _time64(long long* time);

}  // extern "C"

#endif

/// Called by a thread that is about to be terminated. Where termination is forced (Windows) it never comes
/// back, and is ended here; elsewhere it comes back once TerminateThread was called, to return from its start
/// routine. Takes no lock but the thread's own, and nothing from the heap.
void AwaitTermination();

/// Called before a thread of the library starts: keeps the library mapped until the process ends, whatever
/// the host unloads, and watches for forks. Any thread may call it, any number of times.
void KeepLibraryLoaded();

/// True once the system has ended every other thread of the process, possibly inside a lock or in the midst
/// of a change: at the exit of a process on Windows, and elsewhere in the child of a fork, from its
/// beginning, when the library had started a thread before. Whoever finds this neither joins nor locks nor
/// touches what other threads shared, so that every exported operation that would asks it first and does
/// nothing. Costs next to nothing.
bool IsProcessEnding();
