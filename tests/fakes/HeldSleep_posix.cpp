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
    int begun = 0;
    int mayEnd = 0;
    std::vector<DWORD> asked;
};

State& state() {
    static auto* const instance = new State;  // outlives every thread
    return *instance;
}

/// False when sleeps are not held.
bool sleepHeld(DWORD milliseconds) {
    State& now = state();
    std::unique_lock<std::mutex> lock(now.mutex);
    if (!now.isHeld) return false;
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

}  // namespace fakes

// The linker sends calls here (--wrap), and gives the real functions another name.

extern "C" {

void __real_Sleep(DWORD milliseconds);
void __wrap_Sleep(DWORD milliseconds);

void __wrap_Sleep(DWORD milliseconds) {
    if (!fakes::sleepHeld(milliseconds)) __real_Sleep(milliseconds);
}

}  // extern "C"
