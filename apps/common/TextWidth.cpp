#include "common/TextWidth.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace apps {
namespace {

constexpr std::size_t kUsualWidth = 80;
constexpr std::size_t kLeastWidth = 20;
constexpr std::size_t kMostWidth = 1000;
constexpr std::string_view kPartMark = " · ";

struct CodeRange {
    std::uint32_t first;
    std::uint32_t last;
};

// Marks that are drawn over the character before them.
constexpr CodeRange kWithout[] = {{0x300, 0x36F}, {0x1AB0, 0x1AFF}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}};
// Characters of two columns: those of East Asia, and pictures.
constexpr CodeRange kTwice[] = {{0x1100, 0x115F},   {0x2E80, 0xA4CF},   {0xAC00, 0xD7A3},  {0xF900, 0xFAFF},
                                {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F},
                                {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <std::size_t size>
bool IsIn(const CodeRange (&ranges)[size], std::uint32_t code) {
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [code](const CodeRange& range) { return code >= range.first && code <= range.last; });
}

std::size_t LengthAt(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    return std::min(length, text.size());
}

std::uint32_t CodeOf(std::string_view character) {
    const auto lead = static_cast<unsigned char>(character.front());
    std::uint32_t code = character.size() == 1 ? lead : lead & (0x7FU >> character.size());
    for (const char c : character.substr(1))
        code = code << 6U | (static_cast<unsigned char>(c) & 0x3FU);
    return code;
}

std::size_t ColumnsOf(std::string_view character) {
    const std::uint32_t code = CodeOf(character);
    if (IsIn(kWithout, code)) return 0;
    return IsIn(kTwice, code) ? 2 : 1;
}

// How many bytes of `text` fit into `columns`; at least one character.
std::size_t BytesWithin(std::string_view text, std::size_t columns) {
    std::size_t bytes = LengthAt(text);
    std::size_t taken = ColumnsOf(text.substr(0, bytes));
    while (bytes < text.size()) {
        const std::string_view next = text.substr(bytes, LengthAt(text.substr(bytes)));
        taken += ColumnsOf(next);
        if (taken > columns) break;
        bytes += next.size();
    }
    return bytes;
}

/// Lines that are filled piece by piece.
class Lines {
public:
    explicit Lines(std::size_t columns) : m_columns(columns) {}

    // In the line that is being filled where it fits, else in the next where it fits there, else word by
    // word.
    void AddPart(std::string_view part) {
        if (Fits(kPartMark, part)) return Append(kPartMark, part);
        if (Columns(part) <= m_columns) return Begin(part);
        for (bool first = true; !part.empty(); first = false) {
            const std::size_t end = std::min(part.find(' '), part.size());
            AddWord(first ? kPartMark : " ", part.substr(0, end));
            part.remove_prefix(std::min(end + 1, part.size()));
        }
    }

    std::vector<std::string> Take() { return std::move(m_lines); }

private:
    bool Fits(std::string_view mark, std::string_view text) const {
        if (m_lines.empty()) return Columns(text) <= m_columns;
        return Columns(m_lines.back()) + Columns(mark) + Columns(text) <= m_columns;
    }

    void Append(std::string_view mark, std::string_view text) {
        if (m_lines.empty()) return Begin(text);
        m_lines.back().append(mark).append(text);
    }

    void Begin(std::string_view text) { m_lines.emplace_back(text); }

    void AddWord(std::string_view mark, std::string_view word) {
        if (Fits(mark, word)) return Append(mark, word);
        while (!word.empty()) {
            const std::size_t bytes = BytesWithin(word, m_columns);
            Begin(word.substr(0, bytes));
            word.remove_prefix(bytes);
        }
    }

    const std::size_t m_columns;
    std::vector<std::string> m_lines;
};

}  // namespace

std::size_t Columns(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const std::string_view character = text.substr(0, LengthAt(text));
        columns += ColumnsOf(character);
        text.remove_prefix(character.size());
    }
    return columns;
}

std::string Padded(std::string text, std::size_t columns) {
    const std::size_t taken = Columns(text);
    if (taken < columns) text.append(columns - taken, ' ');
    return text;
}

std::vector<std::string> Wrapped(std::string_view text, std::size_t columns) {
    Lines lines(columns);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(kPartMark), text.size());
        lines.AddPart(text.substr(0, end));
        text.remove_prefix(std::min(end + kPartMark.size(), text.size()));
    }
    return lines.Take();
}

std::string Paragraph(std::string_view text, std::size_t columns, std::size_t indent) {
    std::string paragraph;
    for (const std::string& line : Wrapped(text, columns)) {
        if (!paragraph.empty()) paragraph += "\n" + std::string(indent, ' ');
        paragraph += line;
    }
    return paragraph;
}

std::size_t OutputWidth() {
    const char* const wanted = std::getenv("COLUMNS");  // NOLINT(concurrency-mt-unsafe): no thread writes it
    const unsigned long columns = wanted ? std::strtoul(wanted, nullptr, 10) : 0;
    if (columns >= kLeastWidth && columns <= kMostWidth) return columns;
    const std::size_t terminal = TerminalWidth();
    return terminal >= kLeastWidth ? std::min(terminal, kMostWidth) : kUsualWidth;
}

}  // namespace apps
