#pragma once

#include "platform/Kernel.h"

/// The exit code of `thread`, once it has ended.
inline DWORD ExitCodeOnceEnded(HANDLE thread) {
    DWORD code = STILL_ACTIVE;
    while (GetExitCodeThread(thread, &code) && code == STILL_ACTIVE)
        Sleep(1);
    return code;
}
