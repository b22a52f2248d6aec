#pragma once

#include <cstddef>
#include <ctime>
#include <string>

/// One line as the default sink writes it, line break included: "2026-01-31 12:34:56.789 2 text". Control
/// characters of the text are escaped as \xHH.
std::string FormatLogLine(const std::tm& local, int milliseconds, int level, const char* text);

/// The same where memory is short: `text` alone, with a dot for each control character, in `out`. The length;
/// what `size`, at least 1, does not hold is left out.
std::size_t FormatBareLogLine(char* out, std::size_t size, const char* text) noexcept;
