#pragma once

#include <json/json.h>

#include <algorithm>
#include <stdexcept>
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

/// How many levels of values ParseJson reads, the outermost one included.
constexpr int kDeepestJson = 1000;

inline bool NestsDeeperThan(int levels, const Json::Value& value) {
    if (levels == 0) return true;
    if (!value.isObject() && !value.isArray()) return false;
    const auto deeper = [levels](const Json::Value& child) { return NestsDeeperThan(levels - 1, child); };
    return std::any_of(value.begin(), value.end(), deeper);
}

/// Raises std::length_error when `value` nests too deep to be read again; to copy or to write it could exhaust
/// the stack.
inline void RequireReadableDepth(const Json::Value& value) {
    if (NestsDeeperThan(kDeepestJson, value)) throw std::length_error("JSON nested deeper than 1000 levels");
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
