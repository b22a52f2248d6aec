#include "base/RaiseFlag.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

namespace qolive {
namespace {

struct Waited {
    std::atomic<bool> flag{false};
    Mutex mutex;
    ConditionVariable condition;

    void waitForFlag() {
        const MutexLock lock(mutex);
        while (!flag)
            condition.wait(mutex);
    }
};

TEST(RaiseFlag, WakesEveryThreadThatWaits) {
    Waited waited;
    auto first = std::async(std::launch::async, [&] { waited.waitForFlag(); });
    auto second = std::async(std::launch::async, [&] { waited.waitForFlag(); });
    RaiseFlag(waited.flag, waited.mutex, waited.condition);
    EXPECT_EQ(first.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_EQ(second.wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

// Between its look at the flag and its wait a thread holds the mutex: a wake-up that came then would be lost.
TEST(RaiseFlag, SetsTheFlagAtOnceAndWakesOnlyOnceTheMutexIsFree) {
    Waited waited;
    std::atomic<bool> returned{false};
    std::thread raising;
    {
        const MutexLock lock(waited.mutex);
        raising = std::thread([&] {
            RaiseFlag(waited.flag, waited.mutex, waited.condition);
            returned = true;
        });
        while (!waited.flag)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // time enough for a wake-up too soon
        EXPECT_FALSE(returned);
    }
    raising.join();
    EXPECT_TRUE(returned);
}

}  // namespace
}  // namespace qolive
