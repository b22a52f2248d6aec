#pragma once

namespace apps {

/// From now on SIGINT and SIGTERM do not end the process; StopRequested tells of them.
void CatchStopSignals();

/// True once SIGINT or SIGTERM has come. A second one ends the process at once.
bool StopRequested();

}  // namespace apps
