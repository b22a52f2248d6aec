#include "common/CommandLine.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace apps {
namespace {

struct CommandLineTest : testing::Test {
    std::string name;
    bool verbose = false;
    CommandLine line{"usage: program\n",
                     {{"name", "NAME", "whom", [&](const std::string& value) { name = value; }},
                      {"verbose", "", "say more", [&](const std::string&) { verbose = true; }}}};

    std::string ErrorOf(const std::vector<std::string>& arguments) {
        try {
            line.Parse(arguments);
        } catch (const UsageError& error) {
            return error.what();
        }
        return "";
    }
};

TEST_F(CommandLineTest, ValuesStandApartOrBehindAnEqualsSign) {
    line.Parse({"--name", "a b", "--verbose"});
    EXPECT_EQ(name, "a b");
    EXPECT_TRUE(verbose);
    line.Parse({"--name=x=y"});
    EXPECT_EQ(name, "x=y");
    line.Parse({"--name="});
    EXPECT_EQ(name, "");
}

TEST_F(CommandLineTest, WhatCannotBeUsedIsNamed) {
    EXPECT_EQ(ErrorOf({"--nam"}), "--nam is not an option; --help lists them");
    EXPECT_EQ(ErrorOf({"name"}), "name is not an option; --help lists them");
    EXPECT_EQ(ErrorOf({"--name"}), "--name NAME: the value is missing");
    EXPECT_EQ(ErrorOf({"--verbose=1"}), "--verbose takes no value");
}

TEST_F(CommandLineTest, HelpAndVersionAreUsual) {
    for (const std::vector<std::string>& asked :
         {std::vector<std::string>{"-h"}, {"--help"}, {"--version"}}) {
        bool help = false;
        bool version = false;
        CommandLine("", UsualOptions(help, version)).Parse(asked);
        EXPECT_EQ(help, asked[0] != "--version");
        EXPECT_NE(version, help);
    }
    EXPECT_EQ(VersionText("program").find("program (QoLiveReport) "), 0U);
    EXPECT_THROW(line.Parse({"-h"}), UsageError) << "where it is not declared";
}

TEST(CommandLineHelp, FitsInto80Columns) {
    std::string help;
    for (int i = 0; i < 40; ++i)
        help += "word" + std::to_string(i) + " ";
    const std::string text =
        CommandLine("", {{"a-rather-long-name", "VALUE", help, {}}, {"b", "", help, {}}}).Help();
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 80U) << line;
    EXPECT_NE(text.find("\n                          word"), std::string::npos) << text;
    EXPECT_NE(text.find("word39"), std::string::npos) << text;
}

TEST_F(CommandLineTest, HelpListsEveryOption) {
    EXPECT_NE(line.Help().find("  --name NAME             whom\n"), std::string::npos) << line.Help();
    EXPECT_NE(line.Help().find("  --verbose               say more\n"), std::string::npos) << line.Help();
}

TEST(ParseWhole, HoldsItsBounds) {
    EXPECT_EQ(ParseWhole("n", "1", 1, 3), 1);
    EXPECT_EQ(ParseWhole("n", "3", 1, 3), 3);
    for (const char* text : {"0", "4", "", " 1", "1 ", "1.0", "x", "99999999999999999999"})
        EXPECT_THROW(ParseWhole("n", text, 1, 3), UsageError) << text;
}

TEST(ParseSeconds, TakesFractionsAndNothingElse) {
    EXPECT_EQ(ParseSeconds("n", "0"), 0.0);
    EXPECT_EQ(ParseSeconds("n", "2.5"), 2.5);
    for (const char* text : {"", "-1", "x", "1s", "nan", "inf", "1e99"})
        EXPECT_THROW(ParseSeconds("n", text), UsageError) << text;
}

TEST(ReadSecretFile, ReturnsTheFirstLine) {
    const std::string path = testing::TempDir() + "qolive-secret";
    std::ofstream(path, std::ios::binary) << "s3cret \r\nmore";
    EXPECT_EQ(ReadSecretFile(path), "s3cret ");
    std::ofstream(path, std::ios::trunc).close();
    EXPECT_THROW(ReadSecretFile(path), UsageError);
    EXPECT_THROW(ReadSecretFile(path + "-missing"), UsageError);
}

}  // namespace
}  // namespace apps
