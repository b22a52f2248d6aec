#pragma once

#include <string>
#include <vector>

// Programs of the system.

using Words = std::vector<std::string>;

/// What a command line writes to its standard output, line by line; empty lines are left out.
std::vector<Words> outputOf(const std::string& commandLine);

/// Whether a command line succeeds. Its output is dropped.
bool succeeds(const std::string& commandLine);
