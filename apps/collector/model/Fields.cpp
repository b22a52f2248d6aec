#include "collector/model/Fields.h"

#include <cstring>

namespace collector {
namespace {

// As long as a message may be.
constexpr std::size_t kMostLongBytes = 65536;
// What is kept of every stream.
constexpr std::size_t kMostIdBytes = 256;

}  // namespace

const Fields& HeartbeatFields() {
    static const Fields fields{{"ts", Type::Int64}, {"order", Type::UInt64}, {"type", Type::Int32}};
    return fields;
}

const Fields& CommandFields() {
    static const Fields fields{{"bizType", Type::Int32}, {"data", Type::Text, kMostLongBytes}};
    return fields;
}

const Fields& StateFields() {
    static const Fields fields{
        {"sessionId", Type::Text}, {"liveStatus", Type::Int32}, {"micStatus", Type::Int32}};
    return fields;
}

const Fields& LiveFields() {
    static const Fields fields{{"videoAppId", Type::Int32}, {"business", Type::Int32},
                               {"streamName", Type::Text},  {"sid", Type::Int32},
                               {"width", Type::Int32},      {"height", Type::Int32},
                               {"codec", Type::Int32},      {"pushStatus", Type::Int32}};
    return fields;
}

const Fields& MicFields() {
    static const Fields fields{
        {"videoAppId", Type::Int32}, {"business", Type::Int32},      {"streamName", Type::Text},
        {"sid", Type::Int32},        {"micWidth", Type::Int32},      {"micHeight", Type::Int32},
        {"micCodec", Type::Int32},   {"micPushStatus", Type::Int32}, {"role", Type::Int32},
        {"channelId", Type::Text},   {"mixStreamName", Type::Text},  {"mixWidth", Type::Int32},
        {"mixHeight", Type::Int32},  {"mixStatus", Type::Int32},     {"mixSid", Type::Int32},
        {"mixCodec", Type::Int32},   {"mixMode", Type::Int32}};
    return fields;
}

const Fields& StreamFields() {
    static const Fields fields{{"provider", Type::Int64},    {"sid", Type::Text, kMostIdBytes},
                               {"t", Type::Int64},           {"appId", Type::Int64},
                               {"ver", Type::Text},          {"pid", Type::Int64},
                               {"uid", Type::Int64},         {"roomId", Type::Int64},
                               {"liveType", Type::Int64},    {"clarity", Type::Int64},
                               {"devId", Type::Text},        {"devName", Type::Text},
                               {"cpu", Type::Text},          {"memory", Type::Int64},
                               {"codec", Type::Int64},       {"encodeType", Type::Int64},
                               {"protocol", Type::Int64},    {"network", Type::Int64},
                               {"url", Type::Text},          {"serverIp", Type::Text},
                               {"width", Type::Int64},       {"height", Type::Int64},
                               {"vBitrate", Type::Int64},    {"fps", Type::Int64},
                               {"aBitrate", Type::Int64},    {"streamId", Type::Text, kMostIdBytes},
                               {"startTime", Type::Int64},   {"endTime", Type::Int64},
                               {"requestTime", Type::Int64}, {"responseTime", Type::Int64},
                               {"state", Type::Int64},       {"code", Type::Int64},
                               {"cpuUsage", Type::Int32},    {"cpuAppUsage", Type::Int32}};
    return fields;
}

const Fields& FirstFrameFields() {
    static const Fields fields{{"state", Type::Int64},
                               {"code", Type::Int64},
                               {"startTime", Type::Int64},
                               {"firstFrameTime", Type::Int64},
                               {"duration", Type::Int64}};
    return fields;
}

const Fields& QualityFields() {
    static const Fields fields{{"order", Type::UInt32},           {"t", Type::UInt64},
                               {"vBitrateAvg", Type::UInt64},     {"aBitrateAvg", Type::UInt64},
                               {"sid", Type::Text, kMostIdBytes}, {"lostFrames", Type::Int64}};
    return fields;
}

const Fields& StreamSampleFields() {
    static const Fields fields{
        {"collectTime", Type::UInt64}, {"acFps", Type::UInt32},     {"aeFps", Type::UInt32},
        {"asFps", Type::UInt32},       {"aeBitrate", Type::UInt32}, {"asBitrate", Type::UInt32},
        {"vcFps", Type::UInt32},       {"veFps", Type::UInt32},     {"vsFps", Type::UInt32},
        {"veBitrate", Type::UInt32},   {"vsBitrate", Type::UInt32}};
    return fields;
}

const Fields& DeviceSampleFields() {
    static const Fields fields{{"collectTime", Type::UInt64}, {"cpuUsage", Type::Int32},
                               {"cpuAppUsage", Type::Int32},  {"mem", Type::Int32},
                               {"nt", Type::Int32},           {"sbr", Type::UInt32},
                               {"rbr", Type::UInt32}};
    return fields;
}

namespace {

bool Has(const Json::Value& value, Type type) {
    switch (type) {
        case Type::Text:
            return value.isString();
        case Type::Int32:
            return value.isInt();
        case Type::UInt32:
            return value.isUInt();
        case Type::Int64:
            return value.isInt64();
        case Type::UInt64:
            return value.isUInt64();
    }
    return false;
}

const char* Describe(Type type) {
    switch (type) {
        case Type::Text:
            return "a text";
        case Type::Int32:
            return "a 32-bit integer";
        case Type::UInt32:
            return "an unsigned 32-bit integer";
        case Type::Int64:
            return "a 64-bit integer";
        case Type::UInt64:
            return "an unsigned 64-bit integer";
    }
    return "";
}

std::string Quoted(const char* name) {
    return "\"" + std::string(name) + "\"";
}

void RequireTextLength(const Json::Value& text, const Field& field) {
    const char* begin = nullptr;
    const char* end = nullptr;
    if (text.getString(&begin, &end) && static_cast<std::size_t>(end - begin) > field.mostBytes)
        throw MalformedMessage(Quoted(field.name) + " is longer than " + std::to_string(field.mostBytes) +
                               " bytes");
}

}  // namespace

void RequireObject(const Json::Value& value, const std::string& what) {
    if (!value.isObject()) throw MalformedMessage(what + " is not an object");
}

void RequireFields(const Json::Value& object, const Fields& fields) {
    for (const Field& field : fields) {
        const Json::Value* const value = object.find(field.name, field.name + std::strlen(field.name));
        if (!value) throw MalformedMessage(Quoted(field.name) + " is missing");
        if (!Has(*value, field.type))
            throw MalformedMessage(Quoted(field.name) + " is not " + Describe(field.type));
        if (field.type == Type::Text) RequireTextLength(*value, field);
    }
}

void CheckPart(const Json::Value& body, const char* name, const Fields& fields) {
    if (!body.isMember(name)) return;
    RequireObject(body[name], Quoted(name));
    RequireFields(body[name], fields);
}

void CheckSamples(const Json::Value& body, const char* name, const Fields& fields) {
    if (!body.isMember(name)) return;
    if (!body[name].isArray()) throw MalformedMessage(Quoted(name) + " is not an array");
    for (const Json::Value& sample : body[name]) {
        RequireObject(sample, "a member of " + Quoted(name));
        RequireFields(sample, fields);
    }
}

}  // namespace collector
