#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace apps {

/// How many columns of a terminal `text` takes: UTF-8 without control characters, as Printable makes it.
std::size_t Columns(std::string_view text);

/// `text` filled up with blanks to `columns` of a terminal.
std::string Padded(std::string text, std::size_t columns);

/// `text` in lines of at most `columns` (1 or more): broken before a part, where " · " parts it and the part
/// then fits into a line, else at a blank, else anywhere. No text is no line.
std::vector<std::string> Wrapped(std::string_view text, std::size_t columns);

/// The same as one text, `indent` blanks before every line but the first.
std::string Paragraph(std::string_view text, std::size_t columns, std::size_t indent);

/// How wide the standard output is to be taken: what the environment variable COLUMNS says, else the
/// terminal's width at this moment, else 80.
std::size_t OutputWidth();

/// The width of the terminal that is the standard output; 0 where it is none.
std::size_t TerminalWidth();

}  // namespace apps
