#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "platform/Kernel.h"

/// Runs `work` on a thread of its own that nobody joins. False when the system gives none.
///
/// Not std::thread: MinGW's, detached, is now and then lost before it runs when one that was detached before
/// it is just ending.
inline bool StartDetachedThread(std::function<void()> work) {
    using Work = std::function<void()>;
    const auto run = [](void* parameter) -> DWORD {
        const std::unique_ptr<Work> kept(static_cast<Work*>(parameter));
        (*kept)();
        return 0;
    };
    auto kept = std::make_unique<Work>(std::move(work));
    const HANDLE thread = CreateThread(nullptr, 0, run, kept.get(), 0, nullptr);
    if (!thread) return false;
    static_cast<void>(kept.release());
    CloseHandle(thread);
    return true;
}
