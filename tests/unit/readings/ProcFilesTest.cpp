#include "readings/ProcFiles_posix.h"

#include <gtest/gtest.h>

namespace {

TEST(ProcFiles, BusyTimeIsEverythingButIdleAndWaiting) {
    const auto times = ParseProcessorTimes("cpu  10 20 30 400 50 6 7 8 3 2\ncpu0 1 1 1 1 1 1 1 1 1 1\n");
    ASSERT_TRUE(times);
    EXPECT_EQ(times->busy, 10u + 20 + 30 + 6 + 7 + 8);
    EXPECT_EQ(times->total, 10u + 20 + 30 + 400 + 50 + 6 + 7 + 8);
}

TEST(ProcFiles, StolenTimeMayBeMissing) {
    const auto times = ParseProcessorTimes("cpu  1 2 3 4 5 6 7\n");
    ASSERT_TRUE(times);
    EXPECT_EQ(times->total, 28u);
}

TEST(ProcFiles, ProcessorTimesThatAreNotThereGiveNoValue) {
    EXPECT_FALSE(ParseProcessorTimes(""));
    EXPECT_FALSE(ParseProcessorTimes("cpu  1 2 3\n"));
    EXPECT_FALSE(ParseProcessorTimes("intr 1 2 3 4 5 6 7 8\n"));
    EXPECT_FALSE(ParseProcessorTimes("cpu  a b c d e f g h\n"));
}

TEST(ProcFiles, AProcessIsFoundBehindANameWithBracketsAndSpaces) {
    const auto stat = ParseProcessStat(
        "42 (a) S 1 2 (b c) S 1 42 42 0 -1 4194560 500 0 0 0 111 22 7 8 20 0 3 0 98765 1000 200\n");
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->usedTicks, 133u);
    EXPECT_EQ(stat->started, 98765u);
}

TEST(ProcFiles, AProcessThatIsNotThereGivesNoValue) {
    EXPECT_FALSE(ParseProcessStat(""));
    EXPECT_FALSE(ParseProcessStat("42 name S 1 2 3"));
    EXPECT_FALSE(ParseProcessStat("42 (name) S 1 2 3"));
}

TEST(ProcFiles, ANameEndsAtItsLastLineBreak) {
    EXPECT_EQ(ParseName("QoLive\n"), "QoLive");
    EXPECT_EQ(ParseName("two\nlines\n"), "two\nlines");
    EXPECT_EQ(ParseName(""), "");
}

TEST(ProcFiles, MemoryIsReadInBytes) {
    const auto memory =
        ParseMemory("MemTotal:       16318480 kB\nMemFree: 1 kB\nMemAvailable:    8000000 kB\n");
    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->totalBytes, 16318480ULL * 1024);
    EXPECT_EQ(memory->availableBytes, 8000000ULL * 1024);
}

TEST(ProcFiles, MemoryThatIsNotThereGivesNoValue) {
    EXPECT_FALSE(ParseMemory(""));
    EXPECT_FALSE(ParseMemory("MemTotal: 5 kB\n"));
    EXPECT_FALSE(ParseMemory("MemTotal: x kB\nMemAvailable: 5 kB\n"));
}

TEST(ProcFiles, AProgramIsTheLastPartOfItsPath) {
    EXPECT_EQ(ProgramOfLink("/usr/bin/QoLive"), "QoLive");
    EXPECT_EQ(ProgramOfLink("QoLive"), "QoLive");
    EXPECT_EQ(ProgramOfLink("/usr/bin/"), "");
}

TEST(ProcFiles, WideTextBecomesUtf8) {
    EXPECT_EQ(ToUtf8(L"QoLive.exe"), "QoLive.exe");
    EXPECT_EQ(ToUtf8(L"\u00e9\u4e2d\U0001f3a5"), "\xc3\xa9\xe4\xb8\xad\xf0\x9f\x8e\xa5");
    EXPECT_EQ(ToUtf8(std::wstring{static_cast<wchar_t>(0xd800), static_cast<wchar_t>(0x110000)}),
              "\xef\xbf\xbd\xef\xbf\xbd");
}

TEST(ProcFiles, WideTextBecomesUtf8AtEachEndOfEachLength) {
    const auto utf8 = [](int c) { return ToUtf8(std::wstring(1, static_cast<wchar_t>(c))); };
    EXPECT_EQ(utf8(0x7f), "\x7f");
    EXPECT_EQ(utf8(0x80), "\xc2\x80");
    EXPECT_EQ(utf8(0x7ff), "\xdf\xbf");
    EXPECT_EQ(utf8(0x800), "\xe0\xa0\x80");
    EXPECT_EQ(utf8(0xd7ff), "\xed\x9f\xbf");
    EXPECT_EQ(utf8(0xd800), "\xef\xbf\xbd");
    EXPECT_EQ(utf8(0xdfff), "\xef\xbf\xbd");
    EXPECT_EQ(utf8(0xe000), "\xee\x80\x80");
    EXPECT_EQ(utf8(0xffff), "\xef\xbf\xbf");
    EXPECT_EQ(utf8(0x10000), "\xf0\x90\x80\x80");
    EXPECT_EQ(utf8(0x10ffff), "\xf4\x8f\xbf\xbf");
    EXPECT_EQ(utf8(0x110000), "\xef\xbf\xbd");
}

TEST(ProcFiles, ALineIsKnownByItsWholeName) {
    EXPECT_FALSE(ParseMemory("MemTotal2: 1 kB\nMemTotal: 5 kB\nMemAvail: 5 kB\n"));
    const auto memory = ParseMemory("MemAvailable: 3 kB\nxMemTotal: 1 kB\nMemTotal: 5 kB\n");
    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->totalBytes, 5u * 1024);
    EXPECT_EQ(memory->availableBytes, 3u * 1024);
}

}  // namespace
