#include "common/TextWidth.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace apps {
namespace {

using Lines = std::vector<std::string>;

TEST(Columns, CountsWhatATerminalShows) {
    EXPECT_EQ(Columns(""), 0U);
    EXPECT_EQ(Columns("plain"), 5U);
    EXPECT_EQ(Columns("h\xc3\xa4 \xe2\x99\xa5 \xe2\x96\x81"), 6U) << "letters and signs of several bytes";
    EXPECT_EQ(Columns("\xe4\xb8\xad\xe6\x96\x87"), 4U) << "two columns each";
    EXPECT_EQ(Columns("\xf0\x9f\x98\x80"), 2U);
    EXPECT_EQ(Columns("a\xcc\x81"), 1U) << "an accent over the letter";
    EXPECT_EQ(Columns("\xe4\xb8"), 1U) << "cut short, and not read beyond";
}

TEST(Padded, CountsColumnsNotBytes) {
    EXPECT_EQ(Padded("\xe2\x99\xa5", 3), "\xe2\x99\xa5  ");
    EXPECT_EQ(Padded("abc", 2), "abc");
}

TEST(Wrapped, BreaksBeforeAPartThatDoesNotFit) {
    EXPECT_EQ(Wrapped("", 10), Lines{});
    EXPECT_EQ(Wrapped("one · two", 9), (Lines{"one · two"}));
    EXPECT_EQ(Wrapped("one · two", 8), (Lines{"one", "two"}));
    EXPECT_EQ(Wrapped("a b · c d · e f", 9), (Lines{"a b · c d", "e f"}));
}

TEST(Wrapped, BreaksAPartThatFitsNowhereAtItsBlanks) {
    EXPECT_EQ(Wrapped("one two three", 8), (Lines{"one two", "three"}));
    EXPECT_EQ(Wrapped("x · one two three", 8), (Lines{"x · one", "two", "three"}));
}

TEST(Wrapped, CutsAWordThatIsTooLong) {
    EXPECT_EQ(Wrapped("abcdefgh", 3), (Lines{"abc", "def", "gh"}));
    EXPECT_EQ(Wrapped("a bcdefgh i", 4), (Lines{"a", "bcde", "fgh", "i"}));
    EXPECT_EQ(Wrapped("\xe4\xb8\xad\xe6\x96\x87", 1), (Lines{"\xe4\xb8\xad", "\xe6\x96\x87"}))
        << "never nothing";
}

TEST(Wrapped, NoLineIsWiderAndNothingIsLost) {
    const std::string text =
        "LIVE · session demo · show 1920x1080 codec 1 push 2 · co-host \xe4\xb8\xad\xe6\x96\x87 640x360";
    for (std::size_t width = 2; width < 70; ++width) {
        std::string joined;
        for (const std::string& line : Wrapped(text, width)) {
            EXPECT_LE(Columns(line), width) << line;
            joined += line;
        }
        const auto bare = [](std::string from) {
            for (const char* mark : {"·", " "})
                for (std::size_t at = from.find(mark); at != std::string::npos; at = from.find(mark))
                    from.erase(at, std::string(mark).size());
            return from;
        };
        EXPECT_EQ(bare(joined), bare(text)) << width;
    }
}

TEST(Paragraph, IndentsAllLinesButTheFirst) {
    EXPECT_EQ(Paragraph("one two three", 8, 2), "one two\n  three");
    EXPECT_EQ(Paragraph("", 8, 2), "");
}

#ifndef _WIN32
TEST(OutputWidth, FollowsTheEnvironmentWhereThatMakesSense) {
    setenv("COLUMNS", "132", 1);
    EXPECT_EQ(OutputWidth(), 132U);
    for (const char* nonsense : {"", "0", "x", "-5", "5", "99999"}) {
        setenv("COLUMNS", nonsense, 1);
        EXPECT_GE(OutputWidth(), 20U) << nonsense;
        EXPECT_LE(OutputWidth(), 1000U) << nonsense;
    }
}
#endif

}  // namespace
}  // namespace apps
