#pragma once

#include <json/json.h>

#include <string>

// The two forms in which JSON crosses the wire. jsoncpp marks both classes as superseded; they are used on
// purpose, because their output and what they accept are what the servers know.

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

/// The compact text of `value`, with the line break that the writer puts at its end. Raises what jsoncpp
/// raises.
inline std::string WriteCompactJson(const Json::Value& value) {
    Json::FastWriter writer;
    return writer.write(value);
}

/// Parses `text` with the reader's default rules, comments collected. False when it is not JSON; raises what
/// jsoncpp raises (nesting deeper than 1000).
inline bool ParseJson(const std::string& text, Json::Value& root) {
    Json::Reader reader;
    return reader.parse(text, root, true);
}

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
