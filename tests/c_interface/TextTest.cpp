#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "c_interface/CallGuard.h"
#include "c_interface/qolive_report.h"
#include "session/QoUser.h"

// Rules that all functions share, shown on one of them.

namespace {

const std::string& Token() {
    static const std::string text("\xc3\xa4\0\xff", 4);
    return text;
}

std::int32_t GetToken(char* buffer, std::size_t capacity, std::size_t* length) {
    return qolive_user_get_login_token(buffer, capacity, length);
}

TEST(CInterfaceText, PassesAnyBytesThroughUnchanged) {
    EXPECT_EQ(qolive_user_set_login_token(Token().data(), Token().size()), QOLIVE_DONE);
    EXPECT_EQ(QoUser::GetInstance()->GetLoginToken(), Token());
}

TEST(CInterfaceText, NullWithLengthZeroIsTheEmptyText) {
    QoUser::GetInstance()->SetLoginToken("old");
    EXPECT_EQ(qolive_user_set_login_token(nullptr, 0), QOLIVE_DONE);
    EXPECT_EQ(QoUser::GetInstance()->GetLoginToken(), "");
}

TEST(CInterfaceText, NullWithALengthIsRefusedAndChangesNothing) {
    QoUser::GetInstance()->SetLoginToken("old");
    EXPECT_EQ(qolive_user_set_login_token(nullptr, 1), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(QoUser::GetInstance()->GetLoginToken(), "old");
}

TEST(CInterfaceText, ALengthThatNoTextCanHaveIsRefused) {
    QoUser::GetInstance()->SetLoginToken("old");
    EXPECT_LT(qolive_user_set_login_token("x", SIZE_MAX), 0);
    EXPECT_EQ(QoUser::GetInstance()->GetLoginToken(), "old");
}

TEST(CInterfaceText, TenMegabytesGoThroughBothWays) {
    const std::string text(10U << 20U, 'x');
    EXPECT_EQ(qolive_user_set_login_token(text.data(), text.size()), QOLIVE_DONE);
    std::string result(text.size(), '\0');
    std::size_t length = 0;
    EXPECT_EQ(GetToken(result.data(), result.size(), &length), QOLIVE_DONE);
    EXPECT_EQ(length, text.size());
    EXPECT_EQ(result, text);
}

TEST(CInterfaceText, AResultThatFitsExactlyIsWrittenWithoutTerminator) {
    QoUser::GetInstance()->SetLoginToken("abc");
    char buffer[] = {'-', '-', '-', '-'};
    std::size_t length = 0;
    EXPECT_EQ(GetToken(buffer, 3, &length), QOLIVE_DONE);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(std::string(buffer, 4), "abc-");
}

TEST(CInterfaceText, AResultThatDoesNotFitTellsItsLengthAndWritesNothing) {
    QoUser::GetInstance()->SetLoginToken("abc");
    char buffer[] = {'-', '-'};
    std::size_t length = 0;
    EXPECT_EQ(GetToken(buffer, 2, &length), QOLIVE_TOO_SMALL);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(std::string(buffer, 2), "--");
}

TEST(CInterfaceText, ANullBufferOfCapacityZeroAsksForTheLength) {
    QoUser::GetInstance()->SetLoginToken("abc");
    std::size_t length = 0;
    EXPECT_EQ(GetToken(nullptr, 0, &length), QOLIVE_TOO_SMALL);
    EXPECT_EQ(length, 3U);
    QoUser::GetInstance()->SetLoginToken("");
    EXPECT_EQ(GetToken(nullptr, 0, &length), QOLIVE_DONE);
    EXPECT_EQ(length, 0U);
}

TEST(CInterfaceText, ANullBufferWithACapacityAndANullLengthAreRefused) {
    char buffer[8];
    std::size_t length = 77;
    EXPECT_EQ(GetToken(nullptr, 1, &length), QOLIVE_NULL_ARGUMENT);
    EXPECT_EQ(length, 77U);
    EXPECT_EQ(GetToken(buffer, sizeof buffer, nullptr), QOLIVE_NULL_ARGUMENT);
}

TEST(CInterfaceGuard, TurnsWhateverIsRaisedIntoACode) {
    using c_interface::Guarded;
    EXPECT_EQ(Guarded([]() -> int { throw c_interface::Refusal{QOLIVE_BAD_SIZE}; }), QOLIVE_BAD_SIZE);
    EXPECT_EQ(Guarded([]() -> int { throw std::bad_alloc(); }), QOLIVE_OUT_OF_MEMORY);
    EXPECT_EQ(Guarded([]() -> int { throw std::string("?"); }), QOLIVE_INTERNAL);
    EXPECT_EQ(Guarded([] { return 2; }), 2);
}

TEST(CInterfaceVersion, IsTheSameInHeaderAndLibrary) {
    EXPECT_EQ(qolive_version(), QOLIVE_REPORT_VERSION);
    EXPECT_STREQ(qolive_version_text(), QOLIVE_REPORT_VERSION_TEXT);
    const std::string parts = std::to_string(QOLIVE_REPORT_VERSION / 1000000) + "." +
                              std::to_string(QOLIVE_REPORT_VERSION / 1000 % 1000) + "." +
                              std::to_string(QOLIVE_REPORT_VERSION % 1000);
    EXPECT_EQ(parts, QOLIVE_REPORT_VERSION_TEXT);
}

}  // namespace
