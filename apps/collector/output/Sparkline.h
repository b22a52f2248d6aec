#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace collector {

/// One block character per value, scaled from 0 to the greatest or, where that is more, to `top`; of more
/// than 60 values the last 60. Negative values count as 0.
std::string Sparkline(const std::vector<std::int64_t>& values, std::int64_t top = 0);

/// The least and the greatest value, as "24..26", or "25" when they are the same; "-" for no values.
std::string Range(const std::vector<std::int64_t>& values);

}  // namespace collector
