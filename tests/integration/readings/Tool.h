#pragma once

#include <string>
#include <vector>

// Programs of the system.

using Words = std::vector<std::string>;

/// What a command line writes to its standard output, line by line; empty lines are left out.
std::vector<Words> OutputOf(const std::string& commandLine);

/// Whether a command line succeeds. Its output is dropped.
bool Succeeds(const std::string& commandLine);
