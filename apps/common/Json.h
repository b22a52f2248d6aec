#pragma once

#include <json/json.h>

#include <optional>
#include <string>

namespace apps {

/// How characters beyond ASCII are written.
enum class Letters { Escaped, Plain };

/// `value` on one line, without a line break at its end.
std::string CompactJson(const Json::Value& value, Letters letters = Letters::Escaped);

/// What a person wrote as JSON, comments allowed; nothing when it is none. Raises Json::Exception when it
/// nests deeper than 1000.
std::optional<Json::Value> ReadJson(const std::string& text);

}  // namespace apps
