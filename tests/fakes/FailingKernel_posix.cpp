#include "fakes/FailingKernelState.h"
#include "platform/Kernel.h"

// The linker sends the library's calls of CreateThread and GetLastError here (--wrap), and gives the real
// ones another name.

extern "C" {

thread_local bool failedHere = false;

HANDLE __real_CreateThread(void* security, size_t stackSize, DWORD (*start)(void*), void* parameter,
                           DWORD flags, DWORD* threadId);
DWORD __real_GetLastError();
HANDLE __wrap_CreateThread(void* security, size_t stackSize, DWORD (*start)(void*), void* parameter,
                           DWORD flags, DWORD* threadId);
DWORD __wrap_GetLastError();

HANDLE __wrap_CreateThread(void* security, size_t stackSize, DWORD (*start)(void*), void* parameter,
                           DWORD flags, DWORD* threadId) {
    failedHere = fakes::TakeThreadCreationFailure();
    if (failedHere) return nullptr;
    return __real_CreateThread(security, stackSize, start, parameter, flags, threadId);
}

DWORD __wrap_GetLastError() {
    return failedHere ? fakes::kThreadCreationError : __real_GetLastError();
}

}  // extern "C"
