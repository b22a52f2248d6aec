#include "base/JsonText.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace {

std::string Written(const Json::Value& value) {
    std::string text = WriteCompactJson(value);
    EXPECT_EQ(text.back(), '\n');
    text.pop_back();
    return text;
}

std::string WrittenText(const std::string& text) {
    return Written(Json::Value(text));
}

TEST(JsonText, ValidTextsAreWrittenAsTheyAre) {
    EXPECT_EQ(WrittenText("plain \" \\ \n"), R"("plain \" \\ \n")");
    EXPECT_EQ(WrittenText("\xc3\xa4 \xe4\xbd\xa0 \xf0\x9f\x98\x80"), R"("\u00e4 \u4f60 \ud83d\ude00")");
    EXPECT_EQ(WrittenText(std::string("a\0b", 3)), R"("a\u0000b")");
    EXPECT_EQ(WrittenText("\xc2\x80\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf"),
              R"("\u0080\u07ff\u0800\ud7ff\ue000\uffff")");
    EXPECT_EQ(WrittenText("\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"), R"("\ud800\udc00\udbff\udfff")");
    EXPECT_EQ(WrittenText(""), R"("")");
    EXPECT_EQ(WrittenText("\\u00e4"), R"("\\u00e4")");  // no character, but its escape
}

// What a Latin-1 text looks like: the byte says that two more belong to it.
TEST(JsonText, BytesBehindABrokenCharacterStay) {
    EXPECT_EQ(WrittenText("Gr\xfc\xdf"
                          "e"),
              R"("Gr\ufffd\ufffde")");
    EXPECT_EQ(WrittenText("\xe4\"b"), R"("\ufffd\"b")");
    EXPECT_EQ(WrittenText("\xf0\x9f\x98"), R"("\ufffd")");
    EXPECT_EQ(WrittenText("\xf0\x9f\x98x"), R"("\ufffdx")");
    EXPECT_EQ(WrittenText("\xe4\xbdx"), R"("\ufffdx")");
    EXPECT_EQ(WrittenText("\xc3"), R"("\ufffd")");
    EXPECT_EQ(WrittenText("\xc3\xc3\xa4"), R"("\ufffd\u00e4")");
    EXPECT_EQ(WrittenText("\x80\xbfx"), R"("\ufffd\ufffdx")");
    EXPECT_EQ(WrittenText("\xff\xfex"), R"("\ufffd\ufffdx")");
}

TEST(JsonText, WhatOnlyLooksLikeACharacterIsNone) {
    EXPECT_EQ(WrittenText("\xc0\x80x"), R"("\ufffd\ufffdx")");                      // overlong
    EXPECT_EQ(WrittenText("\xc1\xbfx"), R"("\ufffd\ufffdx")");                      //
    EXPECT_EQ(WrittenText("\xe0\x9f\xbfx"), R"("\ufffd\ufffd\ufffdx")");            //
    EXPECT_EQ(WrittenText("\xf0\x8f\xbf\xbfx"), R"("\ufffd\ufffd\ufffd\ufffdx")");  //
    EXPECT_EQ(WrittenText("\xed\xa0\x80x"), R"("\ufffd\ufffd\ufffdx")");            // half a surrogate
    EXPECT_EQ(WrittenText("\xf4\x90\x80\x80x"), R"("\ufffd\ufffd\ufffd\ufffdx")");  // beyond U+10FFFF
    EXPECT_EQ(WrittenText("\xf5\x80\x80\x80x"), R"("\ufffd\ufffd\ufffd\ufffdx")");  //
}

TEST(JsonText, MemberNamesAndWhatIsInsideAreReplacedToo) {
    Json::Value value;
    value["\xe4name"]["list"].append("ok");
    value["\xe4name"]["list"].append("\xe4x");
    value["\xe4name"]["list"].append(7);
    value["plain"] = true;
    value["none"] = Json::Value();
    EXPECT_EQ(Written(value), R"({"none":null,"plain":true,"\ufffdname":{"list":["ok","\ufffdx",7]}})");
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
    EXPECT_EQ(Written(value), R"(["\ufffd",{},[],-9007199254740993,18446744073709551615,0.5])");
}

std::string Nested(int levels) {
    return std::string(static_cast<std::size_t>(levels), '[') +
           std::string(static_cast<std::size_t>(levels), ']');
}

Json::Value InObjects(int levels) {
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
    EXPECT_TRUE(ParseJson(Nested(1000), value));
    EXPECT_NO_THROW(RequireReadableDepth(value));
    EXPECT_EQ(WriteCompactJson(value), Nested(1000) + "\n");
    Json::Value deeper;
    deeper.append(std::move(value));
    EXPECT_THROW(RequireReadableDepth(deeper), std::length_error);
    EXPECT_ANY_THROW(ParseJson(Nested(1001), value));
}

TEST(JsonText, DepthCountsEveryKindOfValueOnItsLongestWay) {
    EXPECT_TRUE(NestsDeeperThan(0, Json::Value()));
    EXPECT_FALSE(NestsDeeperThan(1, Json::Value("text")));
    EXPECT_FALSE(NestsDeeperThan(4, InObjects(3)));
    EXPECT_TRUE(NestsDeeperThan(3, InObjects(3)));
    EXPECT_NO_THROW(RequireReadableDepth(InObjects(999)));
    EXPECT_THROW(RequireReadableDepth(InObjects(1000)), std::length_error);
}

}  // namespace
