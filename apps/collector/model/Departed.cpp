#include "collector/model/Departed.h"

namespace collector {
namespace {

constexpr Millis kKeptForSure = Millis{24} * 60 * 60 * 1000;

}  // namespace

std::optional<std::string> Departed::TakeNext(Millis now) {
    if (m_order.empty()) return std::nullopt;
    const auto first = m_order.begin();
    if (first->established && now - first->since < kKeptForSure) return std::nullopt;
    std::string client = first->client;
    m_order.erase(first);
    return client;
}

}  // namespace collector
