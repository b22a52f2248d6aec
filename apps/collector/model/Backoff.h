#pragma once

#include "collector/model/Millis.h"

namespace collector {

/// How long to pause before the broker is tried again: half a second, then twice as long each time, up to
/// half a minute; from the start again only after a connection that held for half a minute.
class Backoff {
public:
    /// `held`: for how long there was a connection since the last pause.
    Millis Next(Millis held);

private:
    Millis m_last = 0;
};

}  // namespace collector
