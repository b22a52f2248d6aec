#include "collector/model/Message.h"

#include <array>
#include <charconv>
#include <memory>

#include "collector/model/Fields.h"
#include "collector/model/StrictJson.h"
#include "common/Printable.h"

namespace collector {
namespace {

// Nothing that a broadcaster sends nests deeper than four.
constexpr int kDeepestNesting = 32;

Json::CharReaderBuilder StrictReader() {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["strictRoot"] = false;
    builder["skipBom"] = false;
    builder["stackLimit"] = kDeepestNesting;
    return builder;
}

void RequireLength(std::string_view text, std::size_t most, const std::string& what) {
    if (text.size() > most) throw MalformedMessage(what + " is too long");
}

Json::Value ParseText(std::string_view text, const std::string& what) {
    static const Json::CharReaderBuilder builder = StrictReader();
    // The reader takes a zero byte for the end of the text.
    if (text.find('\0') != std::string_view::npos) throw MalformedMessage(what + " is not JSON");
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, &errors) && IsStrictJson(text)) {
            if (!apps::IsUtf8(text)) throw MalformedMessage(what + " is not UTF-8");
            return value;
        }
    } catch (const Json::Exception&) {
        throw MalformedMessage(what + " nests too deep");
    }
    throw MalformedMessage(what + " is not JSON");
}

Kind ReadHeartbeat(const Json::Value& body) {
    RequireObject(body, "the heartbeat");
    RequireFields(body, HeartbeatFields());
    const int type = body["type"].asInt();
    if (type == 2) return Kind::KeepAlive;
    if (type != 1) throw MalformedMessage("\"type\" is neither 1 nor 2");
    RequireFields(body, StateFields());
    CheckPart(body, "liveInfo", LiveFields());
    CheckPart(body, "micInfo", MicFields());
    return Kind::FullHeartbeat;
}

Kind ReadCommand(const Json::Value& body) {
    RequireObject(body, "the command");
    RequireFields(body, CommandFields());
    return Kind::Command;
}

bool IsMid(const Json::Value& mid) {
    if (!mid.isString()) return false;
    const std::string text = mid.asString();
    std::int64_t value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && stop == text.data() + text.size();
    // The same number written in another way would pass as another message.
    return whole && std::to_string(value) == text;
}

void CheckHead(const Json::Value& head) {
    RequireObject(head, "the head");
    if (!IsMid(head["mid"])) throw MalformedMessage("\"mid\" is not a number written as text");
    for (const char* name : {"type", "event"})
        if (head.isMember(name) && !head[name].isInt())
            throw MalformedMessage("\"" + std::string(name) + "\" in the head is not a 32-bit integer");
}

void RequireStreamBody(const Json::Value& body, const Fields& fields) {
    RequireObject(body, "the record");
    RequireFields(body, fields);
}

Kind ReadStreamMessage(const Json::Value& head, const Json::Value& body) {
    switch (head.get("type", 0).asInt()) {
        case 1:
            RequireStreamBody(body, StreamFields());
            return Kind::StreamRecord;
        case 2:
            RequireStreamBody(body, QualityFields());
            CheckSamples(body, "streams", StreamSampleFields());
            CheckSamples(body, "devices", DeviceSampleFields());
            return Kind::QualityRecord;
        case 4:
            RequireStreamBody(body, FirstFrameFields());
            return Kind::FirstFrameRecord;
        default:
            return Kind::EventRecord;
    }
}

Kind Classify(int command, Message& message, const std::optional<std::string>& head) {
    if (head) {
        RequireLength(*head, kMostHeadBytes, "the head");
        message.head = ParseText(*head, "the head");
    }
    switch (command) {
        case kHeartbeatCommand:
            return ReadHeartbeat(message.body);
        case kHostCommand:
            return ReadCommand(message.body);
        case kStreamCommand:
            if (!head) throw MalformedMessage("the head is missing");
            CheckHead(message.head);
            return ReadStreamMessage(message.head, message.body);
        default:
            return Kind::Unknown;
    }
}

}  // namespace

Message ReadPresence(std::string_view payload) {
    Message message;
    try {
        RequireLength(payload, kMostPayloadBytes, "the payload");
        message.body = ParseText(payload, "the payload");
        RequireObject(message.body, "the presence");
        const Json::Value online = message.body.get("online", Json::Value());
        if (!online.isBool()) throw MalformedMessage("\"online\" is not true or false");
        message.kind = online.asBool() ? Kind::Online : Kind::Offline;
    } catch (const MalformedMessage& error) {
        message.reason = error.what();
    }
    return message;
}

Message ReadUplink(int command, std::string_view payload, const std::optional<std::string>& head) {
    Message message;
    try {
        RequireLength(payload, kMostPayloadBytes, "the payload");
        message.body = ParseText(payload, "the payload");
        message.kind = Classify(command, message, head);
    } catch (const MalformedMessage& error) {
        message.reason = error.what();
    }
    return message;
}

bool IsHeartbeat(Kind kind) {
    return kind == Kind::FullHeartbeat || kind == Kind::KeepAlive;
}

bool IsStreamMessage(Kind kind) {
    return kind == Kind::StreamRecord || kind == Kind::QualityRecord || kind == Kind::FirstFrameRecord ||
           kind == Kind::EventRecord;
}

const char* Name(Kind kind) {
    static constexpr std::array<const char*, 11> kNames{"online",  "offline", "full",     "keep-alive",
                                                        "command", "stream",  "quality",  "first-frame",
                                                        "event",   "unknown", "malformed"};
    return kNames.at(static_cast<std::size_t>(kind));
}

}  // namespace collector
