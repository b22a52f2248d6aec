#pragma once

#include <chrono>
#include <thread>

namespace support {

/// Generous: a test that waits this long has failed, however slow the machine and the sanitizer.
inline constexpr auto kPatience = std::chrono::seconds(30);

/// Asks `condition` again and again until it is true or the time is over; says which.
template <class Condition>
bool Eventually(Condition condition, std::chrono::milliseconds limit = kPatience) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// How long `action` took.
template <class Action>
std::chrono::milliseconds TimeOf(Action action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

}  // namespace support
