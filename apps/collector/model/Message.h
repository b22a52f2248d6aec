#pragma once

#include <json/json.h>

#include <optional>
#include <string>
#include <string_view>

namespace collector {

enum class Kind {
    Online,
    Offline,
    FullHeartbeat,
    KeepAlive,
    Command,
    StreamRecord,
    QualityRecord,
    FirstFrameRecord,
    EventRecord,  ///< an event of the host's own: any body
    Unknown,      ///< JSON on a command number that has no meaning here
    Malformed,
};

/// What one payload says. `body` and `head` are null where they could not be read or are absent.
struct Message {
    Kind kind = Kind::Malformed;
    Json::Value body;
    Json::Value head;
    std::string reason;  ///< of Malformed: what is wrong
};

/// The command numbers that broadcasters send on.
constexpr int kHeartbeatCommand = 2;
constexpr int kHostCommand = 4;
constexpr int kStreamCommand = 5;

/// Longer payloads and heads are not looked at.
constexpr std::size_t kMostPayloadBytes = 65536;
constexpr std::size_t kMostHeadBytes = 1024;

/// Reads a payload of the presence topic.
Message ReadPresence(std::string_view payload);

/// Reads a payload of an up topic. Bad input of every kind gives Kind::Malformed with a reason.
Message ReadUplink(int command, std::string_view payload, const std::optional<std::string>& head);

bool IsHeartbeat(Kind kind);
bool IsStreamMessage(Kind kind);

/// The kind's name in JSON lines.
const char* Name(Kind kind);

}  // namespace collector
