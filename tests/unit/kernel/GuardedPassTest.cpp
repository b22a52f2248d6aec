#include "platform/GuardedPass.h"

#include <gtest/gtest.h>

#include <new>

#include "fakes/CapturingLog.h"

namespace {

TEST(GuardedPass, APassThatThrowsIsCountedAndLoggedWhateverItThrows) {
    const fakes::CapturingLog log;
    EXPECT_FALSE(RunPass("a line", [] { throw std::bad_alloc(); }));
    EXPECT_FALSE(RunPass("another %s", [] { throw 5; }));
    EXPECT_EQ(DroppedPasses(), 2U);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0].level, 4);
    EXPECT_EQ(log.lines()[0].text, "a line");
    EXPECT_EQ(log.lines()[1].text, "another %s");
}

TEST(GuardedPass, OneThatEndsIsNeither) {
    const fakes::CapturingLog log;
    bool ran = false;
    EXPECT_TRUE(RunPass("a line", [&ran] { ran = true; }));
    EXPECT_TRUE(ran);
    EXPECT_EQ(DroppedPasses(), 0U);
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace
