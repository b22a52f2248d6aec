#pragma once

#include <vector>

// The waits for conditions in this process, where the system has a linker that can put other functions in
// place of the library's. Everything may be called from any thread.

namespace fakes {

/// How long the waits that have begun so far were to take at most, in ms, without those that have no limit.
std::vector<long long> TimedWaits();

/// While it lives, a thread that has decided to wait begins to wait this much later, still with the mutex:
/// whoever wakes it without care for the mutex comes too early.
class LateWaits {
public:
    explicit LateWaits(int milliseconds);
    ~LateWaits();
    LateWaits(const LateWaits&) = delete;
    LateWaits& operator=(const LateWaits&) = delete;

    /// Waits until a thread has decided to wait; false when none does for 20 s.
    bool waitForWaiter() const;
};

}  // namespace fakes
