#pragma once

#include <string_view>

namespace collector {

/// Whether `text`, which the JSON reader has taken, can be passed on as it is: the reader also takes numbers
/// and control characters in texts that are no JSON.
bool IsStrictJson(std::string_view text);

}  // namespace collector
