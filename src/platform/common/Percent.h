#pragma once

#include <cstdint>

/// `part` of `whole` in percent, rounded to the nearest and never above 100; 0 of nothing.
int PercentOf(std::uint64_t part, std::uint64_t whole);
