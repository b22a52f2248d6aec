#pragma once

#include <cstdint>

/// How many passes the library's threads have dropped in this process.
std::uint64_t DroppedPasses();

/// Counts a dropped pass.
void CountDroppedPass() noexcept;

/// Counts a dropped pass and logs `line`, which is short and holds no format; asks for no memory.
void NoteDroppedPass(const char* line) noexcept;

/// Runs one pass of a thread of the library, whose end through an exception would be the host's. What the
/// pass raises, almost always because memory is short, ends that pass only: it is counted and `line` logged.
/// False then; the thread goes on with its next pass.
template <class Pass>
bool RunPass(const char* line, const Pass& pass) noexcept {
    try {
        pass();
        return true;
    } catch (...) {
        NoteDroppedPass(line);
        return false;
    }
}
