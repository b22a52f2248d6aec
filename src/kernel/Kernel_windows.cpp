#include "platform/Kernel.h"

// The system's own answer, which the headers do not declare; a part of ntdll.dll in every version.
extern "C" __declspec(dllimport) BOOLEAN NTAPI RtlDllShutdownInProgress();

void AwaitTermination() {
    for (;;)
        Sleep(INFINITE);
}

void KeepLibraryLoaded() {
    static const char inThisModule = 0;
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, &inThisModule,
                       &module);
}

bool IsProcessEnding() {
    return RtlDllShutdownInProgress() != 0;
}
