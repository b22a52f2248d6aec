#pragma once

#include <optional>
#include <string>

#include "readings/SystemCounters.h"

// Text of the kernel's files below /proc. A text that is not as the kernel writes it gives no value.

/// From /proc/stat. Time that a hypervisor took away counts as busy: it was not there for the broadcast.
std::optional<ProcessorTimes> ParseProcessorTimes(const std::string& text);

struct ProcessStat {
    std::uint64_t started = 0;
    std::uint64_t usedTicks = 0;
};

/// From /proc/<id>/stat.
std::optional<ProcessStat> ParseProcessStat(const std::string& text);

/// From /proc/meminfo.
std::optional<PhysicalMemory> ParseMemory(const std::string& text);

/// From /proc/<id>/comm: a name of 15 bytes at most, as the kernel cuts it.
std::string ParseName(const std::string& text);

/// The last part of the path that /proc/<id>/exe points to.
std::string ProgramOfLink(const std::string& target);

/// `text` in UTF-8; what is no Unicode character becomes U+FFFD.
std::string ToUtf8(const std::wstring& text);
