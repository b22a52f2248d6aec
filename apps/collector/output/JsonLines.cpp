#include "collector/output/JsonLines.h"

#include <cstdio>
#include <ctime>
#include <string_view>

#include "common/Json.h"
#include "common/Printable.h"

namespace collector {
namespace {

// Of what cannot be read, this much is shown.
constexpr std::size_t kMostExcerptBytes = 200;

Json::Value Line(std::int64_t wallMs, const char* kind) {
    Json::Value line;
    line["time"] = UtcTime(wallMs);
    line["kind"] = kind;
    return line;
}

void AddSource(Json::Value& line, const Source& source) {
    line["client"] = source.client;
    if (!source.connection.empty()) line["connection"] = source.connection;
}

const char* Name(Notice::Kind kind) {
    switch (kind) {
        case Notice::Kind::Joined:
            return "joined";
        case Notice::Kind::WentSilent:
            return "silent";
        case Notice::Kind::CameBack:
            return "back";
        case Notice::Kind::AllDark:
            return "dark";
        case Notice::Kind::AskedForState:
            return "asked";
        case Notice::Kind::Answered:
            return "answered";
        case Notice::Kind::LostRecords:
            return "lost";
        case Notice::Kind::NoAnswer:
            return "no-answer";
        case Notice::Kind::TooMuch:
            return "too-much";
        case Notice::Kind::Crowded:
            return "crowded";
    }
    return "";
}

void AddMalformed(Json::Value& line, const Received& received, const std::string& reason) {
    line["reason"] = reason;
    line["bytes"] = static_cast<Json::UInt64>(received.payload.size());
    line["excerpt"] = apps::Printable(received.payload, kMostExcerptBytes);
}

void AddProperties(Json::Value& line, const Received& received) {
    line["topic"] = apps::Printable(received.topic, kMostExcerptBytes);
    line["qos"] = received.qos;
    line["retained"] = received.retained;
    if (!received.contentType.empty())
        line["contentType"] = apps::Printable(received.contentType, kMostExcerptBytes);
    if (!received.responseTopic.empty())
        line["responseTopic"] = apps::Printable(received.responseTopic, kMostExcerptBytes);
}

// Puts JSON that has been checked into the object `line` without reading it: a number keeps every digit.
void AddAsItCame(std::string& line, const std::string& name, std::string_view json) {
    line.pop_back();
    line += ",\"" + name + "\":" + apps::OneLineJson(json) + "}";
}

Json::Value ToJson(const Counters& counters) {
    Json::Value value;
    value["full"] = static_cast<Json::Int64>(counters.full);
    value["keepAlive"] = static_cast<Json::Int64>(counters.keepAlive);
    value["commands"] = static_cast<Json::Int64>(counters.commands);
    value["streamMessages"] = static_cast<Json::Int64>(counters.streamMessages);
    value["repeated"] = static_cast<Json::Int64>(counters.repeated);
    value["longestGapMs"] = static_cast<Json::Int64>(counters.longestGap);
    return value;
}

Json::Value ToJson(const Stream& stream) {
    Json::Value value;
    value["streamId"] = stream.streamId;
    value["streamRecords"] = static_cast<Json::Int64>(stream.starts);
    value["firstFrameRecords"] = static_cast<Json::Int64>(stream.firstFrames);
    value["qualityRecords"] = static_cast<Json::Int64>(stream.qualityRecords);
    value["samples"] = static_cast<Json::Int64>(stream.samples);
    value["lost"] = static_cast<Json::Int64>(stream.lost);
    return value;
}

Json::Value ToJson(const Broadcaster& broadcaster) {
    Json::Value value;
    for (const auto& [id, connection] : broadcaster.connections) {
        Json::Value& entry = value["connections"][id];
        entry = ToJson(connection.counters);
        entry["role"] = Role(broadcaster, connection);
        entry["link"] = collector::Name(connection.link);
    }
    for (const auto& [sid, stream] : broadcaster.streams)
        value["streams"][sid] = ToJson(stream);
    return value;
}

}  // namespace

std::string UtcTime(std::int64_t wallMs) {
    const std::time_t seconds = static_cast<std::time_t>(wallMs / 1000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[40];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(wallMs % 1000));
    return text;
}

void JsonLines::Show(const Received& received, const Message& message, const Outcome& outcome) {
    Json::Value line = Line(received.wallMs, collector::Name(message.kind));
    if (received.parsedTopic) {
        AddSource(line, received.parsedTopic->source);
        if (received.parsedTopic->command) line["command"] = *received.parsedTopic->command;
    }
    if (message.kind == Kind::Malformed) AddMalformed(line, received, message.reason);
    if (outcome.repeated) line["repeated"] = true;
    AddProperties(line, received);
    std::string text = apps::CompactJson(line);
    if (!message.head.isNull()) AddAsItCame(text, "head", *received.head);
    if (message.kind != Kind::Malformed) AddAsItCame(text, "body", received.payload);
    m_stream << text << std::endl;
}

void JsonLines::Show(std::int64_t wallMs, const Notice& notice) {
    Json::Value line = Line(wallMs, Name(notice.kind));
    AddSource(line, notice.source);
    if (notice.duration > 0) line["ms"] = static_cast<Json::Int64>(notice.duration);
    if (notice.kind == Notice::Kind::Answered) line["code"] = static_cast<Json::Int64>(notice.number);
    if (notice.kind == Notice::Kind::LostRecords) line["records"] = static_cast<Json::Int64>(notice.number);
    if (notice.kind == Notice::Kind::TooMuch) line["messages"] = static_cast<Json::Int64>(notice.number);
    if (notice.kind == Notice::Kind::Crowded) line["broadcasters"] = static_cast<Json::Int64>(notice.number);
    if (!notice.stream.empty()) line["stream"] = notice.stream;
    Write(line);
}

void JsonLines::Remark(std::int64_t wallMs, const std::string& text) {
    Json::Value line = Line(wallMs, "remark");
    line["text"] = text;
    Write(line);
}

void JsonLines::Summarise(std::int64_t wallMs, const Fleet& fleet) {
    Json::Value line = Line(wallMs, "summary");
    line["broadcasters"] = Json::Value(Json::objectValue);
    for (const auto& [client, broadcaster] : fleet.Broadcasters())
        line["broadcasters"][client] = ToJson(broadcaster);
    line["malformed"] = static_cast<Json::Int64>(fleet.Malformed());
    Write(line);
}

void JsonLines::Write(const Json::Value& line) {
    m_stream << apps::CompactJson(line) << std::endl;
}

}  // namespace collector
