#include "platform/GuardedPass.h"

#include <atomic>

#include "platform/Log.h"

namespace {
std::atomic<std::uint64_t> droppedPasses{0};
}

std::uint64_t DroppedPasses() {
    return droppedPasses;
}

void CountDroppedPass() noexcept {
    ++droppedPasses;
}

void NoteDroppedPass(const char* line) noexcept {
    CountDroppedPass();
    Log(LogLevel::Error, "%s", line);
}
