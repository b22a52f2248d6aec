#include "platform/common/Percent.h"

#include <cmath>

int PercentOf(std::uint64_t part, std::uint64_t whole) {
    if (whole == 0) return 0;
    if (part >= whole) return 100;
    return static_cast<int>(std::lround(100.0 * static_cast<double>(part) / static_cast<double>(whole)));
}
