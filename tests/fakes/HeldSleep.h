#pragma once

#include <vector>

#include "platform/Kernel.h"

// Time in the test's hands, where the system has a linker that can put other functions in place of the
// kernel's. Everything may be called from any thread.

namespace fakes {

/// While it lives, whoever calls Sleep stays there until the test ends that sleep, whatever time it asked
/// for. One at a time, and not in a test whose own thread sleeps. A thread that is terminated meanwhile finds
/// out when the sleep ends.
class HeldSleep {
public:
    HeldSleep();
    ~HeldSleep() { letAllEnd(); }
    HeldSleep(const HeldSleep&) = delete;
    HeldSleep& operator=(const HeldSleep&) = delete;

    /// Waits until somebody sleeps; false when nobody does for 20 s.
    bool waitForSleeper() const;

    /// Ends the sleep that goes on and waits until somebody sleeps again; false when one of the two does not
    /// come.
    bool letOneEnd();

    /// Ends this sleep and holds none any more.
    void letAllEnd();

    /// What was asked for since the object was made, in ms.
    std::vector<DWORD> asked() const;
};

/// While it lives, time passes only by calls of Sleep, which return at once: GetTickCount64 counts what they
/// asked for.
class VirtualTime {
public:
    VirtualTime();
    ~VirtualTime();
    VirtualTime(const VirtualTime&) = delete;
    VirtualTime& operator=(const VirtualTime&) = delete;

    unsigned long long passedMs() const;
};

}  // namespace fakes
