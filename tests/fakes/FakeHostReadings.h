#pragma once

#include <string>
#include <vector>

// Scripted host readings: take the place of the real ones. Everything may be called from any thread.

namespace fakes {

struct HostReadingsScript {
    int systemCpu = 0;
    int processCpu = 0;
    unsigned long memoryResult = 0;
    unsigned totalPhysical = 100;
    unsigned availablePhysical = 50;
    bool pingAnswers = true;
    int rttMs = 0;
    bool writesRttWhenUnanswered = false;
    int pingTakesMs = 0;       ///< how long a ping blocks
    bool outOfMemory = false;  ///< the reading of the processes and the ping raise std::bad_alloc
};

void SetHostReadings(const HostReadingsScript& script);
std::vector<std::string> PingedHosts();
int PingsUnderWay();
int SystemCpuReadings();
int SystemCpuInitializations();
std::vector<std::wstring> ProcessCpuReadings();  ///< the process name of each reading

}  // namespace fakes
