#include "common/Json.h"

#include <gtest/gtest.h>

namespace apps {
namespace {

TEST(AppsJson, ATextIsReadAndWrittenOnOneLine) {
    const auto value = ReadJson(" {\"b\": [1, null, \"x\\ny\"], /* why */ \"a\": {\"c\": true}}\n");
    ASSERT_TRUE(value);
    EXPECT_EQ(CompactJson(*value), R"({"a":{"c":true},"b":[1,null,"x\ny"]})");
}

TEST(AppsJson, LettersBeyondAsciiAreEscapedUnlessTheyAreWantedPlain) {
    const Json::Value value("caf\xC3\xA9");
    EXPECT_EQ(CompactJson(value), "\"caf\\u00e9\"");
    EXPECT_EQ(CompactJson(value, Letters::Plain), "\"caf\xC3\xA9\"");
}

TEST(AppsJson, WhatIsNoJsonGivesNothing) {
    for (const char* text : {"", " ", "x", "{", "[1,]", "{'a':1}", "[1"})
        EXPECT_FALSE(ReadJson(text)) << text;
}

TEST(AppsJson, DeepNestingIsRefused) {
    EXPECT_TRUE(ReadJson(std::string(500, '[') + std::string(500, ']')));
    EXPECT_THROW(ReadJson(std::string(5000, '[')), Json::Exception);
}

}  // namespace
}  // namespace apps
