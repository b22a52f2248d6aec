#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace apps {

/// `text` as it can be shown on a terminal: control characters, bytes that are not UTF-8 and characters that
/// reorder what stands around them are written as \xHH, and what goes beyond about `most` bytes is replaced
/// by an ellipsis.
std::string Printable(std::string_view text, std::size_t most);

/// `json`, which is valid, on one line of ASCII: other characters as JSON escapes, and nothing between its
/// parts that could break the line.
std::string OneLineJson(std::string_view json);

/// Whether `text` is UTF-8 from its begin to its end.
bool IsUtf8(std::string_view text);

}  // namespace apps
