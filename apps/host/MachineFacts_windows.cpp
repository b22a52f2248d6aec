#include <windows.h>

#include <cstdlib>

#include "host/MachineFacts.h"

namespace host {

MachineFacts ReadMachineFacts() {
    const char* processor = std::getenv("PROCESSOR_IDENTIFIER");
    MEMORYSTATUSEX memory = {};
    memory.dwLength = sizeof memory;
    const bool known = GlobalMemoryStatusEx(&memory) != 0;
    return {processor != nullptr ? processor : "",
            known ? static_cast<std::int64_t>(memory.ullTotalPhys >> 20) : 0,
            static_cast<std::int64_t>(GetCurrentProcessId())};
}

}  // namespace host
