#include "collector/output/Sparkline.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace collector {
namespace {

constexpr std::size_t kMostValues = 60;
constexpr std::array<const char*, 8> kBlocks{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

const char* Block(std::int64_t value, std::int64_t greatest) {
    if (greatest <= 0 || value <= 0) return kBlocks.front();
    const double share = static_cast<double>(value) / static_cast<double>(greatest);
    return kBlocks.at(static_cast<std::size_t>(std::lround(share * (kBlocks.size() - 1))));
}

}  // namespace

std::string Sparkline(const std::vector<std::int64_t>& values, std::int64_t top) {
    if (values.empty()) return {};
    const std::size_t skipped = values.size() > kMostValues ? values.size() - kMostValues : 0;
    const std::int64_t greatest = std::max(top, *std::max_element(values.begin(), values.end()));
    std::string line;
    for (std::size_t i = skipped; i < values.size(); ++i)
        line += Block(values[i], greatest);
    return line;
}

std::string Range(const std::vector<std::int64_t>& values) {
    if (values.empty()) return "-";
    const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
    return *least == *greatest ? std::to_string(*least)
                               : std::to_string(*least) + ".." + std::to_string(*greatest);
}

}  // namespace collector
