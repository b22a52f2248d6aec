#include <unistd.h>

#include <fstream>

#include "host/MachineFacts.h"

namespace host {
namespace {

std::string ProcessorName() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        const std::size_t colon = line.find(": ");
        if (line.rfind("model name", 0) == 0 && colon != std::string::npos) return line.substr(colon + 2);
    }
    return {};
}

}  // namespace

MachineFacts ReadMachineFacts() {
    const std::int64_t pages = sysconf(_SC_PHYS_PAGES);
    const std::int64_t pageBytes = sysconf(_SC_PAGESIZE);
    return {ProcessorName(), pages > 0 ? (pages * pageBytes) >> 20 : 0, getpid()};
}

}  // namespace host
