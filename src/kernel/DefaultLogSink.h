#pragma once

/// The sink that is in force until the host sets one: writes "<local time> <level> <line>" to standard error
/// in one call, control characters escaped so that a line stays one line.
void WriteLogLine(void* user, int level, const char* line);
