#include "ShortMemory.h"

#include <fcntl.h>
#include <link.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <unwind.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace short_memory {
namespace {

constexpr int kDeepest = 24;
constexpr std::size_t kMostModules = 64;
constexpr std::size_t kMostPoints = 1U << 15U;
constexpr std::int64_t kShortageNs = 100'000'000;

struct Module {
    std::uintptr_t begin;
    std::uintptr_t end;
};

// All of this is trivially destructible: threads ask for memory until the process is gone.
Module modules[kMostModules];
std::size_t moduleCount = 0;
std::atomic<std::uint64_t> recorded[kMostPoints];
std::atomic<bool> recording{false};
std::atomic<std::uint64_t> wanted{0};
std::atomic<bool> met{false};
std::atomic<std::int64_t> endsAt{0};
Extent wantedExtent = Extent::Once;
int recordFile = -1;

thread_local bool isHostThread = false;
thread_local int libraryCalls = 0;
thread_local int systemCalls = 0;
thread_local bool isLooking = false;

// The system's own: the program's clock is another.
std::int64_t RealNs() {
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

int AddModule(dl_phdr_info* info, std::size_t, void*) {
    if (moduleCount == kMostModules) return 1;
    Module& module = modules[moduleCount++];
    module = {info->dlpi_addr, info->dlpi_addr};
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const auto& part = info->dlpi_phdr[i];
        if (part.p_type == PT_LOAD) module.end = info->dlpi_addr + part.p_vaddr + part.p_memsz;
    }
    return 0;
}

/// The same in every process, wherever the system has put the modules.
std::uint64_t PlaceOf(std::uintptr_t address) {
    for (std::size_t i = 0; i < moduleCount; ++i)
        if (address >= modules[i].begin && address < modules[i].end)
            return (static_cast<std::uint64_t>(i + 1) << 40U) | (address - modules[i].begin);
    return 1;
}

struct Walk {
    std::uint64_t hash = 14695981039346656037U;
    int depth = 0;
};

_Unwind_Reason_Code Step(_Unwind_Context* context, void* argument) {
    auto& walk = *static_cast<Walk*>(argument);
    walk.hash = (walk.hash ^ PlaceOf(_Unwind_GetIP(context))) * 1099511628211U;
    return ++walk.depth < kDeepest ? _URC_NO_REASON : _URC_END_OF_STACK;
}

std::uint64_t ThisPoint() {
    Walk walk;
    _Unwind_Backtrace(Step, &walk);
    return walk.hash;
}

void Record(std::uint64_t point) {
    for (std::size_t i = 0; i < kMostPoints; ++i) {
        auto& place = recorded[(point + i) % kMostPoints];
        std::uint64_t there = 0;
        if (!place.compare_exchange_strong(there, point)) {
            if (there == point) return;
            continue;
        }
        char line[32];
        const int length = std::snprintf(line, sizeof line, "%llu\n", static_cast<unsigned long long>(point));
        [[maybe_unused]] const auto written = write(recordFile, line, static_cast<std::size_t>(length));
        return;
    }
}

bool Meets(std::uint64_t point) {
    bool before = false;
    if (point != wanted || !met.compare_exchange_strong(before, true)) return false;
    if (wantedExtent == Extent::All) endsAt = RealNs() + kShortageNs;
    return true;
}

bool Look() {
    if (met) return RealNs() < endsAt;
    if (!recording && wanted == 0) return false;
    const std::uint64_t point = ThisPoint();
    if (recording) Record(point);
    return Meets(point);
}

}  // namespace

void BeHostThread() {
    isHostThread = true;
}

LibraryCall::LibraryCall() {
    ++libraryCalls;
}

LibraryCall::~LibraryCall() {
    --libraryCalls;
}

SystemCall::SystemCall() {
    ++systemCalls;
}

SystemCall::~SystemCall() {
    --systemCalls;
}

void RefuseAt(unsigned long long point, Extent extent) {
    dl_iterate_phdr(AddModule, nullptr);
    wantedExtent = extent;
    wanted = point;
}

void RecordPoints(const char* file) {
    dl_iterate_phdr(AddModule, nullptr);
    recordFile = open(file, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    recording = recordFile >= 0;
}

bool HasRefused() {
    return met;
}

bool IsOver() {
    return met && RealNs() >= endsAt;
}

bool RefusesThis() noexcept {
    if (isLooking || systemCalls > 0 || (isHostThread && libraryCalls == 0)) return false;
    isLooking = true;
    const bool refused = Look();
    isLooking = false;
    return refused;
}

}  // namespace short_memory
