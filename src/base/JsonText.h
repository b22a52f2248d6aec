#pragma once

#include <json/json.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "base/Utf8.h"

// The two forms in which JSON crosses the wire. jsoncpp marks both classes as superseded; they are used on
// purpose, because their output and what they accept are what the servers know.

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

/// Whether all texts and member names in `value` are UTF-8. Copies none of them.
inline bool HoldsOnlyUtf8(const Json::Value& value) {
    const char* begin = nullptr;
    const char* end = nullptr;
    if (value.isString()) return !value.getString(&begin, &end) || IsUtf8(begin, end);
    if (!value.isObject() && !value.isArray()) return true;
    for (auto child = value.begin(); child != value.end(); ++child) {
        if (value.isObject()) begin = child.memberName(&end);
        if (value.isObject() && !IsUtf8(begin, end)) return false;
        if (!HoldsOnlyUtf8(*child)) return false;
    }
    return true;
}

/// A copy of `value` with U+FFFD for what is not UTF-8. Of members whose names become the same, one is kept.
inline Json::Value WithOnlyUtf8(const Json::Value& value) {
    const char* begin = nullptr;
    const char* end = nullptr;
    if (value.isString()) return value.getString(&begin, &end) ? Json::Value(Utf8Of(begin, end)) : value;
    if (!value.isObject() && !value.isArray()) return value;
    Json::Value copy(value.type());
    for (auto child = value.begin(); child != value.end(); ++child) {
        if (value.isObject()) begin = child.memberName(&end);
        Json::Value& place = value.isObject() ? copy[Utf8Of(begin, end)] : copy[child.index()];
        place = WithOnlyUtf8(*child);
    }
    return copy;
}

/// The compact text of `value`, with the line break that the writer puts at its end. Raises what jsoncpp
/// raises. What is not UTF-8 is written as U+FFFD.
inline std::string WriteCompactJson(const Json::Value& value) {
    Json::FastWriter writer;
    std::string text = writer.write(value);
    // The writer escapes what is not ASCII, so most texts need no closer look. Broken characters are replaced
    // before it sees them: it takes the bytes behind for a part of them.
    const bool isAscii = text.find("\\u") == std::string::npos;
    if (isAscii || HoldsOnlyUtf8(value)) return text;
    return writer.write(WithOnlyUtf8(value));
}

/// How many levels of values ParseJson reads, the outermost one included.
constexpr int kDeepestJson = 1000;

inline bool NestsDeeperThan(int levels, const Json::Value& value) {
    if (levels == 0) return true;
    if (!value.isObject() && !value.isArray()) return false;
    const auto deeper = [levels](const Json::Value& child) { return NestsDeeperThan(levels - 1, child); };
    return std::any_of(value.begin(), value.end(), deeper);
}

/// Raises std::length_error when `value` nests too deep to be read again; to copy or to write it could
/// exhaust the stack.
inline void RequireReadableDepth(const Json::Value& value) {
    if (NestsDeeperThan(kDeepestJson, value)) throw std::length_error("JSON nested deeper than 1000 levels");
}

/// Parses `text` with the reader's default rules, comments collected. False when it is not JSON; raises what
/// jsoncpp raises (nesting deeper than 1000).
inline bool ParseJson(const std::string& text, Json::Value& root) {
    Json::Reader reader;
    return reader.parse(text, root, true);
}

/// The first thing for which ParseJson refuses a text.
struct JsonFault {
    std::size_t offset;   ///< in the text; its length when the text ends too soon
    std::string message;  ///< the reader's; it may quote a malformed number
};

inline JsonFault FirstFault(const std::string& text) {
    Json::Reader reader;
    Json::Value ignored;
    reader.parse(text, ignored, true);
    const auto faults = reader.getStructuredErrors();
    if (faults.empty()) return {text.size(), "no fault found"};
    const auto offset = static_cast<std::size_t>(faults.front().offset_start);
    return {std::min(offset, text.size()), faults.front().message};
}

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
