#pragma once

#include <ctime>
#include <string>

/// One line as the default sink writes it, line break included: "2026-01-31 12:34:56.789 2 text". Control
/// characters of the text are escaped as \xHH.
std::string FormatLogLine(const std::tm& local, int milliseconds, int level, const char* text);
