#include <chrono>
#include <condition_variable>
#include <mutex>

#include "fakes/HeldSleep.h"

namespace fakes {
namespace {

constexpr std::chrono::seconds kLimit{20};

struct State {
    std::mutex mutex;
    std::condition_variable changed;
    bool isHeld = false;
    bool isVirtual = false;
    unsigned long long virtualMs = 0;
    int begun = 0;
    int mayEnd = 0;
    std::vector<DWORD> asked;
};

State& TheState() {
    static auto* const instance = new State;  // outlives every thread
    return *instance;
}

constexpr unsigned long long kVirtualStart = 5'000'000;

bool ReadVirtual(unsigned long long& ms) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    ms = kVirtualStart + TheState().virtualMs;
    return TheState().isVirtual;
}

/// False when sleeps are neither held nor virtual.
bool SleepHere(DWORD milliseconds) {
    State& now = TheState();
    std::unique_lock<std::mutex> lock(now.mutex);
    if (now.isVirtual) now.virtualMs += milliseconds;
    if (!now.isHeld) return now.isVirtual;
    now.asked.push_back(milliseconds);
    const int own = ++now.begun;
    now.changed.notify_all();
    now.changed.wait(lock, [&] { return !now.isHeld || now.mayEnd >= own; });
    return true;
}

}  // namespace

HeldSleep::HeldSleep() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().isHeld = true;
    TheState().begun = TheState().mayEnd = 0;
    TheState().asked.clear();
}

void HeldSleep::letAllEnd() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().isHeld = false;
    TheState().changed.notify_all();
}

bool HeldSleep::waitForSleeper() const {
    State& now = TheState();
    std::unique_lock<std::mutex> lock(now.mutex);
    const auto deadline = std::chrono::system_clock::now() + kLimit;
    return now.changed.wait_until(lock, deadline, [&now] { return now.begun > now.mayEnd; });
}

bool HeldSleep::letOneEnd() {
    if (!waitForSleeper()) return false;
    {
        const std::lock_guard<std::mutex> lock(TheState().mutex);
        ++TheState().mayEnd;
        TheState().changed.notify_all();
    }
    return waitForSleeper();
}

std::vector<DWORD> HeldSleep::asked() const {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().asked;
}

VirtualTime::VirtualTime() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().isVirtual = true;
    TheState().virtualMs = 0;
}

VirtualTime::~VirtualTime() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().isVirtual = false;
}

unsigned long long VirtualTime::passedMs() const {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().virtualMs;
}

}  // namespace fakes

// The linker sends calls here (--wrap), and gives the real functions another name.

extern "C" {

void __real_Sleep(DWORD milliseconds);
void __wrap_Sleep(DWORD milliseconds);
unsigned long long __real_GetTickCount64();
unsigned long long __wrap_GetTickCount64();

void __wrap_Sleep(DWORD milliseconds) {
    if (!fakes::SleepHere(milliseconds)) __real_Sleep(milliseconds);
}

unsigned long long __wrap_GetTickCount64() {
    unsigned long long ms = 0;
    return fakes::ReadVirtual(ms) ? ms : __real_GetTickCount64();
}

}  // extern "C"
