#include "readings/MemoryInfo.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::uint64_t kLargestWord = std::numeric_limits<std::uint32_t>::max();

std::uint32_t Scaled(std::uint64_t part, std::uint64_t whole) {
    const double ratio = static_cast<double>(part) / static_cast<double>(whole);
    return static_cast<std::uint32_t>(ratio * static_cast<double>(kLargestWord));
}

}  // namespace

void SetMemoryWords(CurrentMemoryInfo& info, const PhysicalMemory& memory) {
    const std::uint64_t total = memory.totalBytes / 1024;
    const std::uint64_t available = std::min(memory.availableBytes / 1024, total);
    const bool fits = total <= kLargestWord;
    info.totalPhysical = static_cast<std::uint32_t>(fits ? total : kLargestWord);
    info.availablePhysical = fits ? static_cast<std::uint32_t>(available) : Scaled(available, total);
}

unsigned long GetCurrentMemoryInfo(CurrentMemoryInfo* info) {
    PhysicalMemory memory;
    const unsigned long error = ReadPhysicalMemory(memory);
    if (error == 0) SetMemoryWords(*info, memory);
    return error;
}
