#include "mqtt/SocketWaiter.h"

#include <gtest/gtest.h>
#include <mosquitto.h>

#include <atomic>
#include <chrono>
#include <thread>

using QoPlayer::mqtt::SocketWaiter;

namespace {

// Sockets need it on Windows.
[[maybe_unused]] const int kLibrariesReady = mosquitto_lib_init();

TEST(SocketWaiterTest, AWakeUpBeforeTheWaitEndsIt) {
    SocketWaiter waiter;
    ASSERT_TRUE(waiter.isUsable());
    waiter.wake();
    waiter.wake();
    waiter.wait(60'000);
}

// Or a network thread that was woken once would never rest again.
TEST(SocketWaiterTest, AWakeUpEndsOneWaitOnly) {
    SocketWaiter waiter;
    waiter.wake();
    waiter.wait(60'000);
    const auto before = SocketWaiter::Clock::now();
    waiter.wait(50);
    EXPECT_GE(SocketWaiter::Clock::now() - before, std::chrono::milliseconds(40));  // clocks are coarse
}

TEST(SocketWaiterTest, EveryWakeUpEndsAWait) {
    SocketWaiter waiter;
    std::atomic<int> produced{0};
    int consumed = 0;
    std::thread producer([&] {
        for (int i = 0; i < 2000; ++i) {
            ++produced;
            waiter.wake();
        }
    });
    while (consumed < 2000) {
        waiter.wait(60'000);
        consumed = produced;
    }
    producer.join();
}

}  // namespace
