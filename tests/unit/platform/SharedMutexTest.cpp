#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platform/Sync.h"

namespace {

constexpr std::chrono::milliseconds kAWhile{30};

TEST(SharedMutex, AWriterKeepsReadersAndWritersOut) {
    SharedMutex mutex;
    std::atomic<int> entered{0};
    mutex.lock();
    std::thread reader([&] {
        const SharedLock lock(mutex);
        ++entered;
    });
    std::thread writer([&] {
        const ExclusiveLock lock(mutex);
        ++entered;
    });
    std::this_thread::sleep_for(kAWhile);
    EXPECT_EQ(entered, 0);
    mutex.unlock();
    reader.join();
    writer.join();
    EXPECT_EQ(entered, 2);
}

TEST(SharedMutex, ReadersKeepAWriterOutAndNotEachOther) {
    SharedMutex mutex;
    std::atomic<bool> written{false};
    std::thread writer;
    {
        const SharedLock lock(mutex);
        std::thread reader([&] { const SharedLock another(mutex); });
        reader.join();
        writer = std::thread([&] {
            const ExclusiveLock exclusive(mutex);
            written = true;
        });
        std::this_thread::sleep_for(kAWhile);
        EXPECT_FALSE(written);
    }
    writer.join();
    EXPECT_TRUE(written);
}

TEST(SharedMutex, ManyWaitersAllGetIn) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 5000;
    SharedMutex mutex;
    int written = 0;
    std::atomic<int> torn{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            for (int n = 0; n < kRounds; ++n) {
                if (i % 2 == 0) {
                    const ExclusiveLock lock(mutex);
                    ++written;
                } else {
                    const SharedLock lock(mutex);
                    const int before = written;
                    std::this_thread::yield();
                    if (written != before) ++torn;
                }
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(written, kThreads / 2 * kRounds);
    EXPECT_EQ(torn, 0);
}

}  // namespace
