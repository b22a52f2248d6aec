#include "platform/HostReadings.h"
#include "platform/common/MemoryWords.h"
#include "platform/common/SystemCounters.h"

unsigned long GetCurrentMemoryInfo(CurrentMemoryInfo* info) {
    PhysicalMemory memory;
    const unsigned long error = ReadPhysicalMemory(memory);
    if (error == 0) SetMemoryWords(*info, memory);
    return error;
}
