#include "common/Clock.h"

#include <chrono>

namespace apps {
namespace {

template <class Clock>
std::int64_t MsOf() {
    const auto time = Clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

}  // namespace

std::int64_t SteadyMs() {
    return MsOf<std::chrono::steady_clock>();
}

std::int64_t WallMs() {
    return MsOf<std::chrono::system_clock>();
}

}  // namespace apps
