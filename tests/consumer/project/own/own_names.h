#pragma once

// Names that a host may have taken for things of its own.

struct HANDLE {};
struct DWORD {};
struct BOOL {};
struct CRITICAL_SECTION {};
struct SRWLOCK {};
class Mutex {};
class MutexLock {};
class ConditionVariable {};
class SharedMutex {};
class SharedLock {};
class ExclusiveLock {};
class CriticalSection {};
class CriticalSectionLock {};
class DropNotice {};
class PauseHandshake {};
class Lasting {};
class CCPUUseRate {};
class CProcessCPUUseRate {};
class CurrentMemoryInfo {};

HANDLE CreateThread(Mutex);
HANDLE TerminateThread(Mutex);
HANDLE GetExitCodeThread(Mutex);
HANDLE CloseHandle(Mutex);
HANDLE GetLastError(Mutex);
HANDLE GetCurrentThreadId(Mutex);
HANDLE GetTickCount64(Mutex);
HANDLE Sleep(Mutex);
HANDLE InitializeCriticalSection(Mutex);
HANDLE EnterCriticalSection(Mutex);
HANDLE AcquireSRWLockExclusive(Mutex);
HANDLE StartLibraryThread(Mutex);
HANDLE JoinUnlessEnding(Mutex);
HANDLE IsProcessEnding(Mutex);
HANDLE KeepLibraryLoaded(Mutex);
HANDLE AwaitTermination(Mutex);
HANDLE GetCurrentMemoryInfo(Mutex);
HANDLE RunPass(Mutex);

#define WINAPI host
#define STILL_ACTIVE host
