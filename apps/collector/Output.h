#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "collector/Fleet.h"

namespace collector {

/// One message as it came from the broker.
struct Received {
    std::int64_t wallMs = 0;  ///< milliseconds since 1970-01-01 UTC
    std::string topic;
    std::optional<Topic> parsedTopic;  ///< none: the topic says nothing
    std::string payload;
    std::optional<std::string> head;
    std::string contentType;
    std::string responseTopic;
    int qos = 0;
    bool retained = false;
};

/// Where the collector's findings go.
class Output {
public:
    Output() = default;
    virtual ~Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    virtual void Show(const Received& received, const Message& message, const Outcome& outcome) = 0;
    virtual void Show(std::int64_t wallMs, const Notice& notice) = 0;

    /// A remark of the collector about itself.
    virtual void Remark(std::int64_t wallMs, const std::string& text) = 0;

    virtual void Summarise(std::int64_t wallMs, const Fleet& fleet) = 0;
};

/// `connection` of `broadcaster` carries what only a main connection carries, or another one does, or neither
/// is known: "main", "backup" or "".
const char* Role(const Broadcaster& broadcaster, const Connection& connection);

const char* Name(Link link);

/// The numbers that a record's samples hold under `key`, oldest first.
std::vector<std::int64_t> Samples(const Json::Value& record, const char* list, const char* key);

}  // namespace collector
