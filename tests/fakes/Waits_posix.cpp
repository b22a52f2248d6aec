#include "fakes/Waits.h"
#include "support/Eventually.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <thread>

namespace fakes {
namespace {

struct State {
    std::mutex mutex;
    std::vector<long long> limits;
    std::atomic<int> lateByMs{0};
    std::atomic<int> waiters{0};
};

State& TheState() {
    static auto* const instance = new State;  // outlives every thread
    return *instance;
}

void NoteLimit(clockid_t clock, const timespec& deadline) {
    timespec now{};
    clock_gettime(clock, &now);
    const long long ns = (deadline.tv_sec - now.tv_sec) * 1'000'000'000LL + (deadline.tv_nsec - now.tv_nsec);
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().limits.push_back(ns / 1'000'000);
}

void BeLate() {
    const int ms = TheState().lateByMs;
    if (ms == 0) return;
    ++TheState().waiters;
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

}  // namespace

std::vector<long long> TimedWaits() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().limits;
}

LateWaits::LateWaits(int milliseconds) {
    TheState().waiters = 0;
    TheState().lateByMs = milliseconds;
}

LateWaits::~LateWaits() {
    TheState().lateByMs = 0;
}

bool LateWaits::waitForWaiter() const {
    return support::Eventually([] { return TheState().waiters != 0; });
}

}  // namespace fakes

// The linker sends calls here (--wrap), and gives the real functions another name: the second is
// std::condition_variable::wait.

extern "C" {

int __real_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                  const timespec* deadline);
int __wrap_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                  const timespec* deadline);
void __real__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(std::condition_variable* condition,
                                                                      std::unique_lock<std::mutex>* lock);
void __wrap__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(std::condition_variable* condition,
                                                                      std::unique_lock<std::mutex>* lock);

int __wrap_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                  const timespec* deadline) {
    fakes::NoteLimit(clock, *deadline);
    fakes::BeLate();
    return __real_pthread_cond_clockwait(condition, mutex, clock, deadline);
}

void __wrap__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(std::condition_variable* condition,
                                                                      std::unique_lock<std::mutex>* lock) {
    fakes::BeLate();
    __real__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(condition, lock);
}

}  // extern "C"
