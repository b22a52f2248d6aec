#pragma once

#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "platform/Kernel.h"

/// Runs `work` on a thread of its own that nobody joins. False when the system gives none. Never throws; what
/// `work` throws ends the process.
///
/// Not std::thread: MinGW's, detached, is now and then lost before it runs when one that was detached before
/// it is just ending.
inline bool StartDetachedThread(std::function<void()> work) noexcept {
    using Work = std::function<void()>;
    const auto run = [](void* parameter) -> DWORD {
        const std::unique_ptr<Work> kept(static_cast<Work*>(parameter));
        (*kept)();
        return 0;
    };
    std::unique_ptr<Work> kept(new (std::nothrow) Work(std::move(work)));
    if (!kept) return false;
    const HANDLE thread = CreateThread(nullptr, 0, run, kept.get(), 0, nullptr);
    if (!thread) return false;
    static_cast<void>(kept.release());
    CloseHandle(thread);
    return true;
}
