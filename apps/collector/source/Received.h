#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "collector/model/Topic.h"

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

}  // namespace collector
