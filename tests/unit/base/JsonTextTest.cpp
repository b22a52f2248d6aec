#include "base/JsonText.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace {

std::string written(const Json::Value& value) {
    std::string text = WriteCompactJson(value);
    EXPECT_EQ(text.back(), '\n');
    text.pop_back();
    return text;
}

std::string writtenText(const std::string& text) {
    return written(Json::Value(text));
}

TEST(JsonText, ValidTextsAreWrittenAsTheyAre) {
    EXPECT_EQ(writtenText("plain \" \\ \n"), R"("plain \" \\ \n")");
    EXPECT_EQ(writtenText("\xc3\xa4 \xe4\xbd\xa0 \xf0\x9f\x98\x80"), R"("\u00e4 \u4f60 \ud83d\ude00")");
    EXPECT_EQ(writtenText(std::string("a\0b", 3)), R"("a\u0000b")");
    EXPECT_EQ(writtenText("\xc2\x80\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf"),
              R"("\u0080\u07ff\u0800\ud7ff\ue000\uffff")");
    EXPECT_EQ(writtenText("\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"), R"("\ud800\udc00\udbff\udfff")");
    EXPECT_EQ(writtenText(""), R"("")");
    EXPECT_EQ(writtenText("\\u00e4"), R"("\\u00e4")");  // no character, but its escape
}

// What a Latin-1 text looks like: the byte says that two more belong to it.
TEST(JsonText, BytesBehindABrokenCharacterStay) {
    EXPECT_EQ(writtenText("Gr\xfc\xdf"
                          "e"),
              R"("Gr\ufffd\ufffde")");
    EXPECT_EQ(writtenText("\xe4\"b"), R"("\ufffd\"b")");
    EXPECT_EQ(writtenText("\xf0\x9f\x98"), R"("\ufffd")");
    EXPECT_EQ(writtenText("\xf0\x9f\x98x"), R"("\ufffdx")");
    EXPECT_EQ(writtenText("\xe4\xbdx"), R"("\ufffdx")");
    EXPECT_EQ(writtenText("\xc3"), R"("\ufffd")");
    EXPECT_EQ(writtenText("\xc3\xc3\xa4"), R"("\ufffd\u00e4")");
    EXPECT_EQ(writtenText("\x80\xbfx"), R"("\ufffd\ufffdx")");
    EXPECT_EQ(writtenText("\xff\xfex"), R"("\ufffd\ufffdx")");
}

TEST(JsonText, WhatOnlyLooksLikeACharacterIsNone) {
    EXPECT_EQ(writtenText("\xc0\x80x"), R"("\ufffd\ufffdx")");                      // overlong
    EXPECT_EQ(writtenText("\xc1\xbfx"), R"("\ufffd\ufffdx")");                      //
    EXPECT_EQ(writtenText("\xe0\x9f\xbfx"), R"("\ufffd\ufffd\ufffdx")");            //
    EXPECT_EQ(writtenText("\xf0\x8f\xbf\xbfx"), R"("\ufffd\ufffd\ufffd\ufffdx")");  //
    EXPECT_EQ(writtenText("\xed\xa0\x80x"), R"("\ufffd\ufffd\ufffdx")");            // half a surrogate
    EXPECT_EQ(writtenText("\xf4\x90\x80\x80x"), R"("\ufffd\ufffd\ufffd\ufffdx")");  // beyond U+10FFFF
    EXPECT_EQ(writtenText("\xf5\x80\x80\x80x"), R"("\ufffd\ufffd\ufffd\ufffdx")");  //
}

TEST(JsonText, MemberNamesAndWhatIsInsideAreReplacedToo) {
    Json::Value value;
    value["\xe4name"]["list"].append("ok");
    value["\xe4name"]["list"].append("\xe4x");
    value["\xe4name"]["list"].append(7);
    value["plain"] = true;
    value["none"] = Json::Value();
    EXPECT_EQ(written(value), R"({"none":null,"plain":true,"\ufffdname":{"list":["ok","\ufffdx",7]}})");
    EXPECT_EQ(value["\xe4name"]["list"][1].asString(), "\xe4x");  // the caller's own stays as it is
}

TEST(JsonText, NumbersAndEmptyContainersAreUntouchedBesideABrokenText) {
    Json::Value value(Json::arrayValue);
    value.append("\xff");
    value.append(Json::Value(Json::objectValue));
    value.append(Json::Value(Json::arrayValue));
    value.append(static_cast<Json::Int64>(-9007199254740993));
    value.append(static_cast<Json::UInt64>(18446744073709551615U));
    value.append(0.5);
    EXPECT_EQ(written(value), R"(["\ufffd",{},[],-9007199254740993,18446744073709551615,0.5])");
}

std::string nested(int levels) {
    return std::string(static_cast<std::size_t>(levels), '[') +
           std::string(static_cast<std::size_t>(levels), ']');
}

Json::Value inObjects(int levels) {
    Json::Value value(1);
    for (int level = 0; level < levels; ++level) {
        Json::Value outer;
        outer["first"] = 0;
        outer["next"].swap(value);  // a copy each time would be of all levels so far
        value.swap(outer);
    }
    return value;
}

TEST(JsonText, OneThousandLevelsCanBeReadAndOneMoreCannot) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(nested(1000), value));
    EXPECT_NO_THROW(RequireReadableDepth(value));
    EXPECT_EQ(WriteCompactJson(value), nested(1000) + "\n");
    Json::Value deeper;
    deeper.append(std::move(value));
    EXPECT_THROW(RequireReadableDepth(deeper), std::length_error);
    EXPECT_ANY_THROW(ParseJson(nested(1001), value));
}

TEST(JsonText, DepthCountsEveryKindOfValueOnItsLongestWay) {
    EXPECT_TRUE(NestsDeeperThan(0, Json::Value()));
    EXPECT_FALSE(NestsDeeperThan(1, Json::Value("text")));
    EXPECT_FALSE(NestsDeeperThan(4, inObjects(3)));
    EXPECT_TRUE(NestsDeeperThan(3, inObjects(3)));
    EXPECT_NO_THROW(RequireReadableDepth(inObjects(999)));
    EXPECT_THROW(RequireReadableDepth(inObjects(1000)), std::length_error);
}

}  // namespace
