#include "common/Printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace apps {
namespace {

struct Character {
    std::size_t length = 0;  // 0: not UTF-8
    std::uint32_t code = 0;
};

constexpr std::uint32_t kLeastCode[] = {0, 0, 0x80, 0x800, 0x10000};

std::size_t LengthByLead(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead < 0xE0) return 2;
    if (lead >= 0xE0 && lead < 0xF0) return 3;
    return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

Character Decode(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = LengthByLead(lead);
    if (length < 2) return {length, lead};
    if (text.size() < length) return {};
    std::uint32_t code = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80U) return {};
        code = code << 6U | (byte & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code < 0xE000;
    if (code < kLeastCode[length] || code > 0x10FFFF || surrogate) return {};
    return {length, code};
}

bool IsControl(std::uint32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

// Line and paragraph separators, and the marks that turn the direction of text.
bool Misleads(std::uint32_t code) {
    return (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
           (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF || code == 0x61C;
}

void AppendEscaped(std::string& out, std::string_view bytes) {
    static const char digits[] = "0123456789abcdef";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        out += "\\x";
        out += digits[byte >> 4U];
        out += digits[byte & 0xFU];
    }
}

// How much of the begin of `text` is ASCII that can be seen: nearly all of what comes.
std::size_t PlainLength(std::string_view text) {
    const auto seen = [](char c) { return c >= 0x20 && c < 0x7F; };
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), seen) - text.begin());
}

void AppendJsonUnit(std::string& out, std::uint32_t unit) {
    char text[12];
    std::snprintf(text, sizeof text, "\\u%04x", unit);
    out += text;
}

void AppendJsonEscape(std::string& out, std::uint32_t code) {
    if (code < 0x10000) return AppendJsonUnit(out, code);
    AppendJsonUnit(out, 0xD7C0 + (code >> 10U));
    AppendJsonUnit(out, 0xDC00 + (code & 0x3FFU));
}

}  // namespace

std::string Printable(std::string_view text, std::size_t most) {
    std::string out;
    while (!text.empty()) {
        if (out.size() >= most) return out + "…";
        const Character character = Decode(text);
        const std::string_view bytes = text.substr(0, character.length == 0 ? 1 : character.length);
        if (character.length == 0 || IsControl(character.code) || Misleads(character.code))
            AppendEscaped(out, bytes);
        else
            out += bytes;
        text.remove_prefix(bytes.size());
    }
    return out;
}

std::string OneLineJson(std::string_view json) {
    std::string out;
    out.reserve(json.size());
    while (true) {
        const std::size_t plain = PlainLength(json);
        out += json.substr(0, plain);
        json.remove_prefix(plain);
        if (json.empty()) return out;
        const Character character = Decode(json);
        if (character.code >= 0x7F) AppendJsonEscape(out, character.code);
        json.remove_prefix(character.length == 0 ? 1 : character.length);
    }
}

bool IsUtf8(std::string_view text) {
    while (true) {
        text.remove_prefix(PlainLength(text));
        if (text.empty()) return true;
        const std::size_t length = Decode(text).length;
        if (length == 0) return false;
        text.remove_prefix(length);
    }
}

}  // namespace apps
