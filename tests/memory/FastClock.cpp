// Time passes faster for the whole program, so that a minute of the library's life takes seconds: clocks,
// sleeps and waits of the C library, consistently. What waits for the network waits in real time.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

std::int64_t Speed() {
    static const char* const text = std::getenv("QOLIVE_CLOCK_SPEED");
    static const std::int64_t value = text ? std::atoll(text) : 1;
    return value;
}

std::int64_t NsOf(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * kSecond + time.tv_nsec;
}

timespec TimeOf(std::int64_t ns) {
    return {static_cast<time_t>(ns / kSecond), static_cast<long>(ns % kSecond)};
}

std::int64_t RealNs(clockid_t clock) {
    timespec now{};
    syscall(SYS_clock_gettime, clock, &now);
    return NsOf(now);
}

struct Beginnings {
    std::int64_t real = RealNs(CLOCK_REALTIME);
    std::int64_t monotonic = RealNs(CLOCK_MONOTONIC);
    std::int64_t boot = RealNs(CLOCK_BOOTTIME);

    std::int64_t of(clockid_t clock) const {
        if (clock == CLOCK_REALTIME) return real;
        return clock == CLOCK_BOOTTIME ? boot : monotonic;
    }
};

const Beginnings& TheBeginnings() {
    static const Beginnings at;
    return at;
}

std::int64_t FastNs(clockid_t clock) {
    const std::int64_t beginning = TheBeginnings().of(clock);
    return beginning + (RealNs(clock) - beginning) * Speed();
}

std::int64_t RealOf(clockid_t clock, std::int64_t fast) {
    const std::int64_t beginning = TheBeginnings().of(clock);
    return beginning + (fast - beginning) / Speed();
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    if (clock != CLOCK_REALTIME && clock != CLOCK_MONOTONIC && clock != CLOCK_BOOTTIME)
        return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    *now = TimeOf(FastNs(clock));
    return 0;
}

int gettimeofday(timeval* now, void*) noexcept {
    const timespec time = TimeOf(FastNs(CLOCK_REALTIME));
    *now = {time.tv_sec, time.tv_nsec / 1000};
    return 0;
}

time_t time(time_t* now) noexcept {
    const time_t seconds = TimeOf(FastNs(CLOCK_REALTIME)).tv_sec;
    if (now) *now = seconds;
    return seconds;
}

int nanosleep(const timespec* duration, timespec*) {
    const timespec real = TimeOf(NsOf(*duration) / Speed());
    syscall(SYS_nanosleep, &real, nullptr);
    return 0;
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* deadline) {
    using Wait = int (*)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*);
    static const auto wait = reinterpret_cast<Wait>(dlsym(RTLD_NEXT, "pthread_cond_clockwait"));
    // Not a moment too early by the fast clock, which is what the caller looks at.
    const timespec real = TimeOf(RealOf(clock, NsOf(*deadline)) + 1);
    return wait(condition, mutex, clock, &real);
}
}
