#pragma once

#include "platform/HostReadings.h"
#include "readings/SystemCounters.h"

/// Writes the two figures in KiB. More than 32 bits hold is scaled down, both figures alike.
void SetMemoryWords(CurrentMemoryInfo& info, const PhysicalMemory& memory);
