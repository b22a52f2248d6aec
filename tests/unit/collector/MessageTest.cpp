#include "collector/model/Message.h"

#include <gtest/gtest.h>

#include <functional>

#include "base/JsonText.h"
#include "unit/collector/Samples.h"

namespace collector {
namespace {

Message Read(int command, const std::string& payload) {
    return ReadUplink(command, payload, std::nullopt);
}

Message ReadStream(const std::string& payload, int type) {
    return ReadUplink(kStreamCommand, payload, samples::Head("42", type));
}

std::string ReasonOf(const Message& message) {
    EXPECT_EQ(message.kind, Kind::Malformed);
    return message.reason;
}

// Edits the first member called `key`, however deep it lies.
bool Edit(Json::Value& value, const std::string& key, const std::function<void(Json::Value& owner)>& change) {
    if (!value.isObject() && !value.isArray()) return false;
    if (value.isObject() && value.isMember(key)) {
        change(value);
        return true;
    }
    for (Json::Value& member : value)
        if (Edit(member, key, change)) return true;
    return false;
}

std::string Edited(const std::string& text, const std::string& key,
                   const std::function<void(Json::Value& owner)>& change) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(text, value));
    EXPECT_TRUE(Edit(value, key, change)) << key;
    return WriteCompactJson(value);
}

std::string Without(const std::string& text, const std::string& key) {
    return Edited(text, key, [&](Json::Value& owner) { owner.removeMember(key); });
}

std::string With(const std::string& text, const std::string& key, const Json::Value& value) {
    return Edited(text, key, [&](Json::Value& owner) { owner[key] = value; });
}

TEST(Message, EachKindIsTold) {
    EXPECT_EQ(ReadPresence(R"({"online":true})").kind, Kind::Online);
    EXPECT_EQ(ReadPresence(R"({"online":false})").kind, Kind::Offline);
    EXPECT_EQ(Read(kHeartbeatCommand, samples::kIdle).kind, Kind::FullHeartbeat);
    EXPECT_EQ(Read(kHeartbeatCommand, samples::kLive).kind, Kind::FullHeartbeat);
    EXPECT_EQ(Read(kHeartbeatCommand, samples::kKeepAlive).kind, Kind::KeepAlive);
    EXPECT_EQ(Read(kHostCommand, samples::kCommand).kind, Kind::Command);
    EXPECT_EQ(ReadStream(samples::StreamRecord("7", "show"), 1).kind, Kind::StreamRecord);
    EXPECT_EQ(ReadStream(samples::Quality(1, "7"), 2).kind, Kind::QualityRecord);
    EXPECT_EQ(ReadStream(samples::kFirstFrame, 4).kind, Kind::FirstFrameRecord);
    EXPECT_EQ(Read(9, "[1]").kind, Kind::Unknown);
}

TEST(Message, TheLineBreakOfTheCompactWriterIsNoFault) {
    EXPECT_EQ(Read(kHeartbeatCommand, samples::kKeepAlive + "\n").kind, Kind::KeepAlive);
}

TEST(Message, AnEventOfTheHostMayHaveAnyBody) {
    for (const char* body : {"null", "[]", "\"text\"", "17", "{}", "{\"a\":[1,{}]}"})
        EXPECT_EQ(ReadStream(body, 3).kind, Kind::EventRecord) << body;
    EXPECT_EQ(ReadUplink(kStreamCommand, "{}", R"({"mid":"1"})").kind, Kind::EventRecord);
}

TEST(Message, MembersThatAreNotKnownAreLetThrough) {
    EXPECT_EQ(Read(kHeartbeatCommand, R"({"order":1,"ts":1,"type":2,"new":{"a":1}})").kind, Kind::KeepAlive);
}

TEST(Message, WhatIsNotJsonIsMalformed) {
    const std::string zeroInside = std::string("{}") + '\0' + "{}";
    for (const std::string& text :
         {std::string(), std::string(" "), std::string("nonsense"), std::string("{"), std::string("{'a':1}"),
          std::string("{}{}"), std::string("{\"a\":1,\"a\":2}"), std::string("/* */{}"), std::string(1, '\0'),
          zeroInside, std::string("\xff\xfe")})
        EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, text)), "the payload is not JSON");
}

TEST(Message, WhatTheReaderTakesAlthoughItIsNotJsonIsMalformed) {
    for (const std::string& text :
         {std::string(R"({"a":01})"), std::string(R"({"a":-})"), std::string(R"({"a":1.})"),
          std::string(R"({"a":.5})"), std::string(R"({"a":1e})"), std::string(R"({"a":+1})"),
          std::string(R"({"a":1.2.3})"), std::string("{\"a\":\"\n\"}"), std::string("\xef\xbb\xbf{}")})
        EXPECT_EQ(ReasonOf(Read(9, text)), "the payload is not JSON") << text;
    for (const char* text : {"0", "-0", "[-1.5e+10,0.1,1E-2,10]", R"(["\"\\","-",":01"])", "{}"})
        EXPECT_EQ(Read(9, text).kind, Kind::Unknown) << text;
}

TEST(Message, DeepNestingIsMalformed) {
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, std::string(10000, '['))), "the payload nests too deep");
    EXPECT_EQ(ReasonOf(ReadUplink(kStreamCommand, "{}", std::string(1000, '['))), "the head nests too deep");
    EXPECT_EQ(ReasonOf(ReadPresence(std::string(10000, '['))), "the payload nests too deep");
}

TEST(Message, TenMegabytesAreMalformed) {
    const std::string huge(10U << 20U, 'x');
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, huge)), "the payload is too long");
    EXPECT_EQ(ReasonOf(ReadPresence(huge)), "the payload is too long");
    EXPECT_EQ(ReasonOf(ReadUplink(kStreamCommand, "{}", huge)), "the head is too long");
}

TEST(Message, LengthIsRefusedFromOneByteAboveTheBound) {
    const std::string padding(kMostPayloadBytes - samples::kKeepAlive.size(), ' ');
    EXPECT_EQ(Read(kHeartbeatCommand, samples::kKeepAlive + padding).kind, Kind::KeepAlive);
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, samples::kKeepAlive + padding + " ")),
              "the payload is too long");
}

TEST(Message, EveryTextHasABoundInBytes) {
    const auto of = [](std::size_t bytes) { return std::string(bytes, 'x'); };
    const std::string record = samples::StreamRecord("7", "show");
    for (const char* key : {"sid", "streamId"}) {
        EXPECT_EQ(ReadStream(With(record, key, of(256)), 1).kind, Kind::StreamRecord) << key;
        EXPECT_EQ(ReasonOf(ReadStream(With(record, key, of(257)), 1)),
                  "\"" + std::string(key) + "\" is longer than 256 bytes");
    }
    EXPECT_EQ(ReasonOf(ReadStream(samples::Quality(1, of(257)), 2)), "\"sid\" is longer than 256 bytes");
    EXPECT_EQ(ReadStream(With(record, "url", of(4096)), 1).kind, Kind::StreamRecord);
    EXPECT_EQ(ReasonOf(ReadStream(With(record, "url", of(4097)), 1)), "\"url\" is longer than 4096 bytes");
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, With(samples::kLive, "sessionId", of(4097)))),
              "\"sessionId\" is longer than 4096 bytes");
    EXPECT_EQ(Read(kHostCommand, With(samples::kCommand, "data", of(60000))).kind, Kind::Command);
}

TEST(Message, AHeartbeatOfAnotherShapeIsMalformed) {
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, "[]")), "the heartbeat is not an object");
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, "null")), "the heartbeat is not an object");
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, "{}")), "\"ts\" is missing");
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, R"({"ts":"1","order":1,"type":2})")),
              "\"ts\" is not a 64-bit integer");
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, R"({"ts":1,"order":-1,"type":2})")),
              "\"order\" is not an unsigned 64-bit integer");
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, R"({"ts":1e300,"order":1,"type":2})")),
              "\"ts\" is not a 64-bit integer");
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, R"({"ts":1,"order":1,"type":3})")),
              "\"type\" is neither 1 nor 2");
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, R"({"ts":1,"order":1,"type":2147483648})")),
              "\"type\" is not a 32-bit integer");
}

TEST(Message, EveryMemberOfAFullHeartbeatIsRequiredAndTyped) {
    for (const char* key : {"sessionId", "streamName", "channelId", "mixStreamName"}) {
        EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, With(samples::kLive, key, 5))),
                  "\"" + std::string(key) + "\" is not a text");
    }
    for (const char* key :
         {"liveStatus", "micStatus", "business", "codec",     "height",        "pushStatus", "sid",
          "videoAppId", "width",     "micCodec", "micHeight", "micPushStatus", "micWidth",   "mixCodec",
          "mixHeight",  "mixMode",   "mixSid",   "mixStatus", "mixWidth",      "role"}) {
        EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, With(samples::kLive, key, "5"))),
                  "\"" + std::string(key) + "\" is not a 32-bit integer");
        EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, Without(samples::kLive, key))),
                  "\"" + std::string(key) + "\" is missing");
    }
    EXPECT_EQ(ReasonOf(Read(kHeartbeatCommand, R"({"liveInfo":[],"liveStatus":1,"micStatus":2,"order":1,)"
                                               R"("sessionId":"","ts":1,"type":1})")),
              "\"liveInfo\" is not an object");
}

TEST(Message, ACommandOfAnotherShapeIsMalformed) {
    EXPECT_EQ(ReasonOf(Read(kHostCommand, "17")), "the command is not an object");
    EXPECT_EQ(ReasonOf(Read(kHostCommand, R"({"bizType":7})")), "\"data\" is missing");
    EXPECT_EQ(ReasonOf(Read(kHostCommand, R"({"bizType":7,"data":{}})")), "\"data\" is not a text");
    EXPECT_EQ(ReasonOf(Read(kHostCommand, R"({"bizType":"7","data":""})")),
              "\"bizType\" is not a 32-bit integer");
}

TEST(Message, APresenceOfAnotherShapeIsMalformed) {
    EXPECT_EQ(ReasonOf(ReadPresence("true")), "the presence is not an object");
    EXPECT_EQ(ReasonOf(ReadPresence("{}")), "\"online\" is not true or false");
    EXPECT_EQ(ReasonOf(ReadPresence(R"({"online":1})")), "\"online\" is not true or false");
}

TEST(Message, AStreamMessageNeedsAHeadWithAMid) {
    const std::string body = samples::Quality(1, "7");
    EXPECT_EQ(ReasonOf(Read(kStreamCommand, body)), "the head is missing");
    EXPECT_EQ(ReasonOf(ReadUplink(kStreamCommand, body, "nonsense")), "the head is not JSON");
    EXPECT_EQ(ReasonOf(ReadUplink(kStreamCommand, body, "[]")), "the head is not an object");
    for (const char* head : {"{}", R"({"mid":1})", R"({"mid":""})", R"({"mid":"1x"})", R"({"mid":"01"})",
                             R"({"mid":"-0"})", R"({"mid":"99999999999999999999"})"})
        EXPECT_EQ(ReasonOf(ReadUplink(kStreamCommand, body, head)),
                  "\"mid\" is not a number written as text");
    EXPECT_EQ(ReasonOf(ReadUplink(kStreamCommand, body, R"({"mid":"1","type":"2"})")),
              "\"type\" in the head is not a 32-bit integer");
}

TEST(Message, ARecordOfAnotherShapeIsMalformed) {
    EXPECT_EQ(ReasonOf(ReadStream("[]", 1)), "the record is not an object");
    EXPECT_EQ(ReasonOf(ReadStream(Without(samples::StreamRecord("7", "show"), "devName"), 1)),
              "\"devName\" is missing");
    EXPECT_EQ(ReasonOf(ReadStream(With(samples::StreamRecord("7", "show"), "fps", "x"), 1)),
              "\"fps\" is not a 64-bit integer");
    EXPECT_EQ(ReasonOf(ReadStream(With(samples::Quality(1, "7"), "order", -1), 2)),
              "\"order\" is not an unsigned 32-bit integer");
    EXPECT_EQ(ReasonOf(ReadStream(With(samples::Quality(1, "7"), "vsFps", Json::Value()), 2)),
              "\"vsFps\" is not an unsigned 32-bit integer");
    EXPECT_EQ(ReasonOf(ReadStream(With(samples::Quality(1, "7"), "mem", "x"), 2)),
              "\"mem\" is not a 32-bit integer");
    EXPECT_EQ(ReasonOf(ReadStream(Without(samples::kFirstFrame, "duration"), 4)), "\"duration\" is missing");
    const std::string noSamples =
        R"({"aBitrateAvg":0,"lostFrames":0,"order":1,"sid":"7","t":1,"vBitrateAvg":0)";
    EXPECT_EQ(ReadStream(noSamples + "}", 2).kind, Kind::QualityRecord);
    EXPECT_EQ(ReasonOf(ReadStream(noSamples + R"(,"streams":{}})", 2)), "\"streams\" is not an array");
    EXPECT_EQ(ReasonOf(ReadStream(noSamples + R"(,"devices":[1]})", 2)),
              "a member of \"devices\" is not an object");
}

}  // namespace
}  // namespace collector
