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

State& state() {
    static auto* const instance = new State;  // outlives every thread
    return *instance;
}

constexpr unsigned long long kVirtualStart = 5'000'000;

bool readVirtual(unsigned long long& ms) {
    const std::lock_guard<std::mutex> lock(state().mutex);
    ms = kVirtualStart + state().virtualMs;
    return state().isVirtual;
}

/// False when sleeps are neither held nor virtual.
bool sleepHere(DWORD milliseconds) {
    State& now = state();
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
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().isHeld = true;
    state().begun = state().mayEnd = 0;
    state().asked.clear();
}

void HeldSleep::letAllEnd() {
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().isHeld = false;
    state().changed.notify_all();
}

bool HeldSleep::waitForSleeper() const {
    State& now = state();
    std::unique_lock<std::mutex> lock(now.mutex);
    const auto deadline = std::chrono::system_clock::now() + kLimit;
    return now.changed.wait_until(lock, deadline, [&now] { return now.begun > now.mayEnd; });
}

bool HeldSleep::letOneEnd() {
    if (!waitForSleeper()) return false;
    {
        const std::lock_guard<std::mutex> lock(state().mutex);
        ++state().mayEnd;
        state().changed.notify_all();
    }
    return waitForSleeper();
}

std::vector<DWORD> HeldSleep::asked() const {
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().asked;
}

VirtualTime::VirtualTime() {
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().isVirtual = true;
    state().virtualMs = 0;
}

VirtualTime::~VirtualTime() {
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().isVirtual = false;
}

unsigned long long VirtualTime::passedMs() const {
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().virtualMs;
}

}  // namespace fakes

// The linker sends calls here (--wrap), and gives the real functions another name.

extern "C" {

void __real_Sleep(DWORD milliseconds);
void __wrap_Sleep(DWORD milliseconds);
unsigned long long __real_GetTickCount64();
unsigned long long __wrap_GetTickCount64();

void __wrap_Sleep(DWORD milliseconds) {
    if (!fakes::sleepHere(milliseconds)) __real_Sleep(milliseconds);
}

unsigned long long __wrap_GetTickCount64() {
    unsigned long long ms = 0;
    return fakes::readVirtual(ms) ? ms : __real_GetTickCount64();
}

}  // extern "C"
