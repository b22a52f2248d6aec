#include "host/Script.h"

#include <gtest/gtest.h>

#include <fstream>

#include "common/CommandLine.h"

namespace host {
namespace {

class ScriptTest : public testing::Test {
protected:
    std::vector<Step> Parse(const std::string& text) { return ParseScript("show", text, m_actions); }

    std::string ErrorOf(const std::string& text) {
        try {
            Parse(text);
        } catch (const apps::UsageError& error) {
            return error.what();
        }
        return "";
    }

    std::string RunAll(const std::string& text) {
        m_done.clear();
        for (const Step& step : Parse(text))
            step.run();
        return m_done;
    }

    std::string m_done;
    Actions m_actions{
        {"live",
         {{"on|off", ParameterKind::OnOff}},
         "",
         [&](const Arguments& a) { m_done += a.On(0) ? "on." : "off."; }},
        {"size",
         {{"W", ParameterKind::Int32}, {"T", ParameterKind::Int64}},
         "",
         [&](const Arguments& a) {
             m_done += std::to_string(a.Int(0)) + "," + std::to_string(a.Int64(1)) + ".";
         }},
        {"name",
         {{"A", ParameterKind::Word}, {"B", ParameterKind::Word}},
         "",
         [&](const Arguments& a) { m_done += "<" + a.Text(0) + "><" + a.Text(1) + ">"; }},
        {"say",
         {{"TEXT", ParameterKind::Rest}},
         "",
         [&](const Arguments& a) { m_done += "<" + a.Text(0) + ">"; }},
        {"json",
         {{"JSON", ParameterKind::Json}},
         "",
         [&](const Arguments& a) { m_done += "<" + a.Text(0) + ">"; }},
        {"end", {}, "", [&](const Arguments&) { m_done += "end."; }},
    };
};

TEST_F(ScriptTest, StepsComeInTheOrderOfTheirTimes) {
    EXPECT_EQ(RunAll("2 end\n0.5 live on\n2 live off\n0 say x\n"), "<x>on.end.off.");
    EXPECT_EQ(Parse("0.25 live on")[0].seconds, 0.25);
}

TEST_F(ScriptTest, EmptyLinesAndRemarksAreSkipped) {
    EXPECT_TRUE(Parse("").empty());
    EXPECT_TRUE(Parse("\n  \t\r\n# 1 live on\n   # more\n").empty());
}

TEST_F(ScriptTest, AQuotedWordMayHoldBlanksOrNothing) {
    EXPECT_EQ(RunAll("0 name \"a b\" \"\"\r\n"), "<a b><>");
}

TEST_F(ScriptTest, TheLastTextIsTakenAsItStands) {
    EXPECT_EQ(RunAll("0 say {\"a\":  1} # \"no remark"), "<{\"a\":  1} # \"no remark>");
    EXPECT_EQ(RunAll("0 say"), "<>");
}

TEST_F(ScriptTest, JsonIsCheckedBeforeAnythingRuns) {
    EXPECT_EQ(RunAll("0 json {\"a\": [1]}\n1 json\n"), "<{\"a\": [1]}><>");
    EXPECT_EQ(ErrorOf("1 json {"), "show:1: JSON is not JSON: \"{\"");
    EXPECT_EQ(ErrorOf("1 json " + std::string(5000, '[')), "show:1: JSON nests too deep");
}

TEST_F(ScriptTest, NumbersReachTheirLimits) {
    EXPECT_EQ(RunAll("0 size -2147483648 -9223372036854775808\n0 size 2147483647 9223372036854775807\n"),
              "-2147483648,-9223372036854775808.2147483647,9223372036854775807.");
}

TEST_F(ScriptTest, AMistakeNamesLineAndReason) {
    EXPECT_EQ(ErrorOf("0 end\nx live on"),
              "show:2: the line does not begin with a time: it is not a number of seconds: x");
    EXPECT_EQ(ErrorOf("-1 end"),
              "show:1: the line does not begin with a time: it is not a number of seconds: -1");
    EXPECT_EQ(ErrorOf("1"), "show:1: the action is missing");
    EXPECT_EQ(ErrorOf("1 dance"), "show:1: there is no action \"dance\"; --help lists them");
    EXPECT_EQ(ErrorOf("1 live"), "show:1: on|off is missing: live on|off");
    EXPECT_EQ(ErrorOf("1 live maybe"), "show:1: \"maybe\" is neither on nor off");
    EXPECT_EQ(ErrorOf("1 live on off"), "show:1: \"off\" is too much: live on|off");
    EXPECT_EQ(ErrorOf("1 size 2147483648 1"),
              "show:1: W is not a whole number from -2147483648 to 2147483647: 2147483648");
    EXPECT_EQ(ErrorOf("1 name \"a b"), "show:1: the closing quote is missing");
    EXPECT_EQ(ErrorOf("1 name \"a\"b c"), "show:1: a blank is missing after a quote");
}

TEST_F(ScriptTest, AMistakeIsShownHarmless) {
    EXPECT_EQ(ErrorOf("1 \x1b[2J"), "show:1: there is no action \"\\x1b[2J\"; --help lists them");
    EXPECT_LT(ErrorOf("1 " + std::string(10U << 20U, 'x')).size(), 200U);
}

TEST(ReadScriptFile, SaysWhatItCannotUse) {
    const std::string path = testing::TempDir() + "qolive-script";
    EXPECT_THROW(ReadScriptFile(path + "-missing"), apps::UsageError);
    std::ofstream(path) << "0 end\n";
    EXPECT_EQ(ReadScriptFile(path), "0 end\n");
    std::ofstream(path, std::ios::trunc).close();
    EXPECT_EQ(ReadScriptFile(path), "");
    std::ofstream(path) << std::string((1U << 20U) + 1, '#');
    EXPECT_THROW(ReadScriptFile(path), apps::UsageError);
    EXPECT_THROW(ReadScriptFile(testing::TempDir()), apps::UsageError);
}

}  // namespace
}  // namespace host
