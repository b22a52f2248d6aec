#pragma once

#include "platform/HostSink.h"
#include "platform/Kernel.h"

namespace qolive {

/// A static object whose destructor is left out where the system has ended all other threads, possibly in the
/// midst of a change to it.
template <class T>
union Lasting {
    Lasting() : object() {}
    ~Lasting() {
        LeaveHostSink();
        if (!IsProcessEnding()) object.~T();
    }
    Lasting(const Lasting&) = delete;
    Lasting& operator=(const Lasting&) = delete;

    T object;
};

}  // namespace qolive
