#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace apps {

/// `text` as it can be shown on a terminal: control characters, bytes that are not UTF-8 and characters that
/// reorder what stands around them are written as \xHH, and what goes beyond about `most` bytes is replaced
/// by an ellipsis.
std::string Printable(std::string_view text, std::size_t most);

}  // namespace apps
