#include "collector/model/StrictJson.h"

#include <cstddef>

namespace collector {
namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::size_t Digits(std::string_view text) {
    std::size_t count = 0;
    while (count < text.size() && IsDigit(text[count]))
        ++count;
    return count;
}

bool TakeDigits(std::string_view& text) {
    const std::size_t count = Digits(text);
    text.remove_prefix(count);
    return count > 0;
}

bool Take(std::string_view& text, std::string_view anyOf) {
    if (text.empty() || anyOf.find(text.front()) == std::string_view::npos) return false;
    text.remove_prefix(1);
    return true;
}

bool TakeNumber(std::string_view& text) {
    Take(text, "-");
    if (!Take(text, "0") && !TakeDigits(text)) return false;
    if (Take(text, ".") && !TakeDigits(text)) return false;
    if (Take(text, "eE")) {
        Take(text, "+-");
        if (!TakeDigits(text)) return false;
    }
    return text.empty() || (!IsDigit(text.front()) && text.front() != '.');
}

// `text` begins behind the opening quotation mark.
bool TakeText(std::string_view& text) {
    while (!text.empty()) {
        const char c = text.front();
        if (static_cast<unsigned char>(c) < 0x20) return false;
        text.remove_prefix(c == '\\' && text.size() > 1 ? 2 : 1);
        if (c == '"') return true;
    }
    return false;
}

}  // namespace

bool IsStrictJson(std::string_view text) {
    while (!text.empty()) {
        if (IsDigit(text.front()) || text.front() == '-') {
            if (!TakeNumber(text)) return false;
        } else if (Take(text, "\"")) {
            if (!TakeText(text)) return false;
        } else if (text.front() == '+') {
            return false;
        } else {
            text.remove_prefix(1);
        }
    }
    return true;
}

}  // namespace collector
