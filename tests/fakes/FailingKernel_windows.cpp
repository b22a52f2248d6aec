#include "fakes/FailingKernelState.h"
#include "platform/Kernel.h"

// A call of CreateThread goes through the pointer __imp_CreateThread, which the loader fills. The linker puts
// the pointer below in its place (--wrap), and gives the loader's another name.

extern "C" {

using CreateThreadFunction = decltype(&CreateThread);

extern CreateThreadFunction __real___imp_CreateThread;
extern CreateThreadFunction __wrap___imp_CreateThread;

static HANDLE WINAPI createThreadUnlessItIsToFail(SECURITY_ATTRIBUTES* security, SIZE_T stackSize,
                                                  LPTHREAD_START_ROUTINE start, void* parameter, DWORD flags,
                                                  DWORD* threadId) {
    if (!fakes::TakeThreadCreationFailure())
        return __real___imp_CreateThread(security, stackSize, start, parameter, flags, threadId);
    SetLastError(fakes::kThreadCreationError);
    return nullptr;
}

CreateThreadFunction __wrap___imp_CreateThread = createThreadUnlessItIsToFail;

}  // extern "C"
