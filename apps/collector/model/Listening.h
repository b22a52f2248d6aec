#pragma once

#include "collector/model/Millis.h"

namespace collector {

/// Tells for how long the collector did not listen: it was stopped, or the machine gave it no time. What
/// broadcasters said meanwhile lies unread, so their silence proves nothing.
class Listening {
public:
    explicit Listening(Millis now) : m_last(now) {}

    /// How much of the time since the last call was missed: all of it where it was a second or more, else
    /// none. To be called much more often than that.
    Millis Missed(Millis now);

private:
    Millis m_last;
};

}  // namespace collector
