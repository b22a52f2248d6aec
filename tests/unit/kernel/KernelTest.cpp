#include "platform/Kernel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ctime>

#include "fakes/FailingKernel.h"
#include "unit/kernel/ThreadEnd.h"

namespace {

using std::chrono::steady_clock;

DWORD WINAPI ReturnSeven(void* /*parameter*/) {
    return 7;
}

DWORD WINAPI SleepForAMinute(void* parameter) {
    *static_cast<std::atomic<bool>*>(parameter) = true;
    Sleep(60'000);
    return 0;
}

DWORD WINAPI AwaitsItsEnd(void* /*parameter*/) {
    AwaitTermination();
    return 0;
}

TEST(Kernel, AThreadThatReturnedHasItsResultAsExitCode) {
    const HANDLE thread = CreateThread(nullptr, 0, ReturnSeven, nullptr, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(ExitCodeOnceEnded(thread), 7u);
    EXPECT_TRUE(CloseHandle(thread));
}

TEST(Kernel, ASleepingThreadIsTerminatedAtOnce) {
    std::atomic<bool> asleep{false};
    const HANDLE thread = CreateThread(nullptr, 0, SleepForAMinute, &asleep, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    while (!asleep)
        Sleep(1);
    const auto before = steady_clock::now();
    EXPECT_TRUE(TerminateThread(thread, 1));
    EXPECT_EQ(ExitCodeOnceEnded(thread), 1u);
    EXPECT_LT(steady_clock::now() - before, std::chrono::seconds(10));
    CloseHandle(thread);
}

TEST(Kernel, AThreadAwaitsItsTermination) {
    const HANDLE thread = CreateThread(nullptr, 0, AwaitsItsEnd, nullptr, 0, nullptr);
    ASSERT_NE(thread, nullptr);
    Sleep(20);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    EXPECT_EQ(code, STILL_ACTIVE);
    EXPECT_TRUE(TerminateThread(thread, 5));
    EXPECT_EQ(ExitCodeOnceEnded(thread), 5u);
    CloseHandle(thread);
}

TEST(Kernel, EachThreadHasAnIdentifierOfItsOwn) {
    DWORD first = 0;
    DWORD second = 0;
    const HANDLE one = CreateThread(nullptr, 0, ReturnSeven, nullptr, 0, &first);
    const HANDLE two = CreateThread(nullptr, 0, ReturnSeven, nullptr, 0, &second);
    EXPECT_NE(first, 0u);
    EXPECT_NE(first, second);
    ExitCodeOnceEnded(one);
    ExitCodeOnceEnded(two);
    CloseHandle(one);
    CloseHandle(two);
}

DWORD WINAPI OwnIdentifier(void* parameter) {
    *static_cast<std::atomic<DWORD>*>(parameter) = GetCurrentThreadId();
    return 0;
}

TEST(Kernel, AThreadKnowsTheIdentifierThatItsMakerWasGiven) {
    std::atomic<DWORD> inside{0};
    DWORD outside = 0;
    const HANDLE thread = CreateThread(nullptr, 0, OwnIdentifier, &inside, 0, &outside);
    ExitCodeOnceEnded(thread);
    EXPECT_EQ(inside, outside);
    CloseHandle(thread);
}

TEST(Kernel, TheExitCodeOfAThreadThatRunsIsTwoHundredFiftyNine) {
    EXPECT_EQ(STILL_ACTIVE, 259u);
}

TEST(Kernel, TheCalendarTimeIsReturnedAndStored) {
    const long long before = std::time(nullptr);
    long long stored = 0;
    const long long returned = _time64(&stored);
    EXPECT_EQ(stored, returned);
    EXPECT_GE(_time64(nullptr), returned);
    EXPECT_GE(returned, before);
    EXPECT_LE(returned, std::time(nullptr));
}

TEST(Kernel, AFailedThreadCreationLeavesItsReason) {
    fakes::FailThreadCreations(1);
    EXPECT_EQ(CreateThread(nullptr, 0, ReturnSeven, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), 8u);
}

TEST(Kernel, ACriticalSectionCanBeTakenAgainByItsHolder) {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    LeaveCriticalSection(&section);
    LeaveCriticalSection(&section);
    DeleteCriticalSection(&section);
}

TEST(Kernel, TheTickCountAdvancesInMilliseconds) {
    const auto before = steady_clock::now();
    const auto ticksBefore = GetTickCount64();
    while (GetTickCount64() - ticksBefore < 200)
        Sleep(1);
    // The count may lag behind by some of the system's timer steps.
    EXPECT_GE(steady_clock::now() - before, std::chrono::milliseconds(100));
    EXPECT_LT(GetTickCount64() - ticksBefore, 10'000u);
}

}  // namespace
