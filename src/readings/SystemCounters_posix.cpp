#include "readings/SystemCounters.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <optional>

#include "readings/ProcFiles_posix.h"
#include "readings/ProgramName.h"

namespace {

/// The first 4 KiB of a file: all of what is read here.
std::string StartOfFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return {};
    std::array<char, 4096> buffer;
    const ssize_t length = read(file, buffer.data(), buffer.size());
    close(file);
    return length > 0 ? std::string(buffer.data(), static_cast<std::size_t>(length)) : std::string();
}

std::string ProgramOf(const std::string& folder) {
    std::array<char, 4096> target;
    const ssize_t length = readlink((folder + "/exe").c_str(), target.data(), target.size());
    if (length <= 0) return {};
    return ProgramOfLink(std::string(target.data(), static_cast<std::size_t>(length)));
}

std::uint64_t Nanoseconds(std::uint64_t ticks) {
    static const auto ticksPerSecond = static_cast<std::uint64_t>(std::max(1L, sysconf(_SC_CLK_TCK)));
    return ticks * (1'000'000'000 / ticksPerSecond);
}

bool IsNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// A process is known by the name that the kernel keeps (which it cuts, and which the process can change) or
/// by its program file (which other users may not see).
bool IsNamed(std::string_view name, const std::string& folder) {
    const std::string kept = ParseName(StartOfFile(folder + "/comm"));
    return IsSameProgram<char>(name, kept) || IsSameProgram<char>(name, ProgramOf(folder));
}

// The name first: the kernel makes the figures by going through all threads of the process.
std::optional<ProcessTime> TimeIfNamed(const std::string& id, std::string_view name) {
    const std::string folder = "/proc/" + id;
    if (!IsNamed(name, folder)) return std::nullopt;
    const auto stat = ParseProcessStat(StartOfFile(folder + "/stat"));
    if (!stat) return std::nullopt;
    return ProcessTime{std::stoull(id), stat->started, Nanoseconds(stat->usedTicks)};
}

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

}  // namespace

bool ReadProcessorTimes(ProcessorTimes& times) {
    const auto read = ParseProcessorTimes(StartOfFile("/proc/stat"));
    if (read) times = *read;
    return read.has_value();
}

unsigned ProcessorCount() {
    return static_cast<unsigned>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

std::vector<ProcessTime> ReadProcessTimes(const std::wstring& name) {
    const std::string wanted = ToUtf8(name);
    std::vector<ProcessTime> found;
    const std::unique_ptr<DIR, CloseFolder> folder(opendir("/proc"));
    // NOLINTNEXTLINE(concurrency-mt-unsafe): safe on a folder that one thread alone has open
    while (const dirent* const entry = folder ? readdir(folder.get()) : nullptr) {
        const std::string id = entry->d_name;
        if (!IsNumber(id)) continue;
        if (const auto time = TimeIfNamed(id, wanted)) found.push_back(*time);
    }
    return found;
}

unsigned long ReadPhysicalMemory(PhysicalMemory& memory) {
    const auto read = ParseMemory(StartOfFile("/proc/meminfo"));
    if (!read) return ENODATA;
    memory = *read;
    return 0;
}
