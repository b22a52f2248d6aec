#include "readings/ProgramName.h"

#include <gtest/gtest.h>

namespace {

bool IsSame(std::wstring_view one, std::wstring_view other) {
    return IsSameProgram<wchar_t>(one, other);
}

TEST(ProgramName, CaseMakesNoDifference) {
    EXPECT_TRUE(IsSame(L"QoLive.exe", L"QOLIVE.EXE"));
    EXPECT_TRUE(IsSame(L"QoLive.exe", L"qolive.exe"));
}

TEST(ProgramName, AnEndingExeMakesNoDifference) {
    EXPECT_TRUE(IsSame(L"QoLive.exe", L"QoLive"));
    EXPECT_TRUE(IsSame(L"QoLive", L"qolive.Exe"));
}

TEST(ProgramName, EverythingElseMakesADifference) {
    EXPECT_FALSE(IsSame(L"QoLive.exe", L"QoLive2.exe"));
    EXPECT_FALSE(IsSame(L"QoLive.exe", L"MyQoLive.exe"));
    EXPECT_FALSE(IsSame(L"QoLive.exe", L"QoLive.exe.exe"));
    EXPECT_FALSE(IsSame(L"QoLive.exe", L"QoLive.com"));
    EXPECT_FALSE(IsSame(L"QoLive.exe", L"QoLive.exe "));
    EXPECT_FALSE(IsSame(L"QoLive.exe", L"QoLiveexe"));
    EXPECT_FALSE(IsSame(L"a[", L"a{"));
    EXPECT_FALSE(IsSame(L"\u00e4", L"\u00c4"));
}

TEST(ProgramName, NothingIsNoProgramsName) {
    EXPECT_FALSE(IsSame(L"", L""));
    EXPECT_FALSE(IsSame(L".exe", L".exe"));
    EXPECT_FALSE(IsSame(L".exe", L""));
    EXPECT_FALSE(IsSame(L"QoLive.exe", L""));
}

TEST(ProgramName, BytesAreComparedAsWideTextIs) {
    EXPECT_TRUE(IsSameProgram<char>("QoLive.exe", "qolive"));
    EXPECT_FALSE(IsSameProgram<char>("QoLive.exe", "qoliv\xe9"));
}

}  // namespace
