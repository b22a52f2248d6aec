#pragma once

#include <cstddef>
#include <string>

// Texts of the host are any bytes; what is written as JSON is UTF-8.

namespace utf8 {

/// The first bytes of a text: a character, or bytes that no character begins with.
struct Piece {
    std::size_t length;
    bool isCharacter;
};

inline unsigned ByteAt(const char* at) {
    return static_cast<unsigned char>(*at);
}

/// How long a character is that begins with `lead`; 0 when none does.
inline std::size_t LengthFrom(unsigned lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xc2 || lead > 0xf4) return 0;
    if (lead < 0xe0) return 2;
    return lead < 0xf0 ? 3 : 4;
}

/// Whether `second` may follow `lead`: no character has two encodings, half surrogates are none, and the last
/// is U+10FFFF.
inline bool MayFollow(unsigned lead, unsigned second) {
    if (second < 0x80 || second > 0xbf) return false;
    if (lead == 0xe0) return second >= 0xa0;
    if (lead == 0xed) return second <= 0x9f;
    if (lead == 0xf0) return second >= 0x90;
    return lead != 0xf4 || second <= 0x8f;
}

/// The piece at `begin`, which is before `end`. Of a broken character it is as much as could have been one.
inline Piece PieceAt(const char* begin, const char* end) {
    const unsigned lead = ByteAt(begin);
    const std::size_t wanted = LengthFrom(lead);
    if (wanted <= 1) return {1, wanted == 1};
    std::size_t length = 1;
    while (length < wanted && begin + length < end &&
           MayFollow(length == 1 ? lead : 0, ByteAt(begin + length)))
        ++length;
    return {length, length == wanted};
}

}  // namespace utf8

inline bool IsUtf8(const char* begin, const char* end) {
    while (begin < end) {
        const utf8::Piece piece = utf8::PieceAt(begin, end);
        if (!piece.isCharacter) return false;
        begin += piece.length;
    }
    return true;
}

/// The text with U+FFFD in place of each piece that is no character.
inline std::string Utf8Of(const char* begin, const char* end) {
    std::string text;
    while (begin < end) {
        const utf8::Piece piece = utf8::PieceAt(begin, end);
        if (piece.isCharacter)
            text.append(begin, piece.length);
        else
            text += "\xef\xbf\xbd";
        begin += piece.length;
    }
    return text;
}
