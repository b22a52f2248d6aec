#pragma once

#include <optional>
#include <string>
#include <tuple>

namespace collector {

/// One connection of one broadcaster, as its topics name it.
struct Source {
    std::string client;
    std::string connection;

    friend bool operator==(const Source& a, const Source& b) {
        return std::tie(a.client, a.connection) == std::tie(b.client, b.connection);
    }
};

struct Topic {
    Source source;
    std::optional<int> command;  ///< none: the presence topic
};

/// Reads `qolive/<client>/<connection>/up/<command>` and `qolive/<client>/<connection>/presence`; nothing for
/// any other text.
std::optional<Topic> ParseTopic(const std::string& text);

/// Where `source` listens for answers to its command `command`.
std::string DownTopic(const Source& source, int command);

}  // namespace collector
