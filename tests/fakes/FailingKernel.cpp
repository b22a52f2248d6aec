#include "fakes/FailingKernel.h"

#include <atomic>

#include "platform/Kernel.h"

// The linker sends the library's calls of CreateThread and GetLastError here (--wrap), and gives the real
// ones another name.

namespace {

constexpr DWORD kNotEnoughMemory = 8;
std::atomic<int> failuresLeft{0};
std::atomic<int> created{0};

bool takeFailure() {
    int left = failuresLeft.load();
    while (left > 0 && !failuresLeft.compare_exchange_weak(left, left - 1)) {
    }
    return left > 0;
}

}  // namespace

namespace fakes {

void failThreadCreations(int count) {
    failuresLeft = count;
}

int threadsCreated() {
    return created;
}

}  // namespace fakes

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
    failedHere = takeFailure();
    if (failedHere) return nullptr;
    ++created;
    return __real_CreateThread(security, stackSize, start, parameter, flags, threadId);
}

DWORD __wrap_GetLastError() {
    return failedHere ? kNotEnoughMemory : __real_GetLastError();
}

}  // extern "C"
