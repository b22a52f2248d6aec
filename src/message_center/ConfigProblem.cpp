#include "message_center/ConfigProblem.h"

#include <algorithm>
#include <cstddef>

#include "base/JsonText.h"

namespace Bas {
namespace {

constexpr char kSpaces[] = " \t\r\n";

std::string PlaceOf(const std::string& text, std::size_t offset) {
    const std::string before = text.substr(0, offset);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::size_t lineStart = before.find_last_of('\n') + 1;  // npos + 1 is 0
    return " at line " + std::to_string(line) + ", column " + std::to_string(1 + offset - lineStart);
}

/// The offset of a trailing comma when the fault at `offset` is the bracket after it; else npos.
std::size_t TrailingComma(const std::string& text, std::size_t offset) {
    if (offset == 0 || offset >= text.size() || (text[offset] != '}' && text[offset] != ']'))
        return std::string::npos;
    const std::size_t before = text.find_last_not_of(kSpaces, offset - 1);
    return before != std::string::npos && text[before] == ',' ? before : std::string::npos;
}

bool QuotesTheText(const std::string& message) {
    return message.find("is not a number") != std::string::npos;
}

}  // namespace

std::string WhyNotJson(const std::string& text) {
    const JsonFault fault = FirstFault(text);
    const std::size_t comma = TrailingComma(text, fault.offset);
    if (comma != std::string::npos) return "trailing comma" + PlaceOf(text, comma);
    const std::string message = QuotesTheText(fault.message) ? "malformed number" : fault.message;
    return "not JSON: " + message + PlaceOf(text, fault.offset);
}

}  // namespace Bas
