#include "common/Program.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace apps {
namespace {

struct Options {
    bool help = false;
    bool version = false;
    std::string word;
};

Options Parse(const std::vector<std::string>& arguments) {
    Options options;
    std::vector<Option> all = UsualOptions(options.help, options.version);
    all.push_back({"word", "WORD", "", [&options](const std::string& word) { options.word = word; }});
    CommandLine("usage: tool\n", all).Parse(arguments);
    return options;
}

int Run(const Options& options) {
    if (options.word == "broken") throw std::runtime_error("it broke\x1b[2J");
    return options.word == "seven" ? 7 : 0;
}

struct Ended {
    int status;
    std::string output;
    std::string errors;
};

Ended Start(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "path/of/tool");
    std::vector<char*> texts;
    for (std::string& argument : arguments)
        texts.push_back(argument.data());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const auto help = [] { return std::string("usage: tool\n"); };
    const int status =
        Main<Options>({"tool", Parse, help, Run}, static_cast<int>(texts.size()), texts.data());
    return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

TEST(Program, ItsExitStatusIsTheResultOfItsRun) {
    EXPECT_EQ(Start({}).status, 0);
    EXPECT_EQ(Start({"--word", "seven"}).status, 7);
}

TEST(Program, WhatIsAskedOfItIsAnsweredWithoutARun) {
    const Ended help = Start({"--word", "broken", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.output, "usage: tool\n");
    EXPECT_EQ(Start({"--word", "broken", "--version"}).output, VersionText("tool"));
}

TEST(Program, AMistakeOfThePersonIsTold) {
    const Ended ended = Start({"--bogus"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors, "tool: --bogus is not an option; --help lists them\n");
}

TEST(Program, AnythingElseThatGoesWrongIsToldAsItCanBeShown) {
    const Ended ended = Start({"--word", "broken"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.errors, "tool: it broke\\x1b[2J\n");
}

}  // namespace
}  // namespace apps
