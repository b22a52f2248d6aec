#pragma once

#include "host/pipeline/StopFlag.h"
#include "host/pipeline/StreamSettings.h"

namespace host {

/// Keeps one processor busy for the time that `settings` ask for per picture; ends early on a stop.
void BurnLoad(const StreamSettings& settings, const StopFlag& stop);

}  // namespace host
