#include "readings/MemoryInfo.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace {

constexpr std::uint64_t kGiB = 1024ULL * 1024 * 1024;
constexpr std::uint32_t kLargestWord = std::numeric_limits<std::uint32_t>::max();

CurrentMemoryInfo Words(std::uint64_t total, std::uint64_t available) {
    CurrentMemoryInfo info;
    SetMemoryWords(info, {total, available});
    return info;
}

TEST(MemoryWords, TheTotalIsTheFourthWordAndTheAvailableTheFifth) {
    const CurrentMemoryInfo info = Words(4096, 1024);
    std::uint32_t all[5];
    static_assert(sizeof info == sizeof all);
    std::memcpy(all, &info, sizeof all);
    EXPECT_EQ(all[3], 4u);
    EXPECT_EQ(all[4], 1u);
}

TEST(MemoryWords, MoreThanFourGibibytesDoNotOverflow) {
    const CurrentMemoryInfo info = Words(64 * kGiB, 16 * kGiB);
    EXPECT_EQ(info.totalPhysical, 64u * 1024 * 1024);
    EXPECT_EQ(info.availablePhysical, 16u * 1024 * 1024);
}

TEST(MemoryWords, TheLargestFigureThatFitsIsExact) {
    const CurrentMemoryInfo info = Words(kLargestWord * 1024ULL, 1024);
    EXPECT_EQ(info.totalPhysical, kLargestWord);
    EXPECT_EQ(info.availablePhysical, 1u);
}

TEST(MemoryWords, ALargerMachineReadsAsFourTebibytesWithTheSameRatio) {
    const CurrentMemoryInfo info = Words(16 * 1024 * kGiB, 4 * 1024 * kGiB);
    EXPECT_EQ(info.totalPhysical, kLargestWord);
    EXPECT_NEAR(info.availablePhysical, kLargestWord / 4.0, 1.0);
}

TEST(MemoryWords, ALargerMachineThatIsAllFreeReadsAsAllFree) {
    const CurrentMemoryInfo info = Words(8 * 1024 * kGiB, 8 * 1024 * kGiB);
    EXPECT_EQ(info.availablePhysical, info.totalPhysical);
}

TEST(MemoryWords, NoMoreIsAvailableThanThereIs) {
    EXPECT_EQ(Words(2048, 4096).availablePhysical, 2u);
}

TEST(MemoryWords, NoMemoryAtAllIsZero) {
    EXPECT_EQ(Words(0, 0).totalPhysical, 0u);
    EXPECT_EQ(Words(0, 5000).availablePhysical, 0u);
}

}  // namespace
