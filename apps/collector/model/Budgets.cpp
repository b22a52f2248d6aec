#include "collector/model/Budgets.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace collector {
namespace {

constexpr std::int64_t kBytesInAMilli = 128;
constexpr std::int64_t kMostSaved = 5 << 20;
constexpr Millis kPauseBetweenWords = 60000;
constexpr std::size_t kFewClients = 1024;

}  // namespace

Budgets::Answer Budgets::Take(const std::string& client, std::size_t bytes, Millis now) {
    if (m_budgets.size() >= m_mostBeforeSweep) ForgetTheIdle(now);
    Budget& budget = m_budgets.try_emplace(client, Budget{0, now, 0, {}}).first->second;
    budget.Earn(now);
    const std::int64_t spent = budget.spent + static_cast<std::int64_t>(bytes);
    const bool granted = spent <= kMostSaved;
    if (granted)
        budget.spent = spent;
    else
        ++budget.unread;
    return {granted, budget.TakeUnread(now)};
}

void Budgets::Budget::Earn(Millis now) {
    const Millis passed = std::min(now - std::exchange(at, now), kMostSaved);
    spent = std::max<std::int64_t>(0, spent - passed * kBytesInAMilli);
}

std::int64_t Budgets::Budget::TakeUnread(Millis now) {
    if (unread == 0 || (toldAt && now - *toldAt < kPauseBetweenWords)) return 0;
    toldAt = now;
    return std::exchange(unread, 0);
}

// Who has the whole budget is as good as unknown. That is nearly everybody, at any time.
void Budgets::ForgetTheIdle(Millis now) {
    for (auto entry = m_budgets.begin(); entry != m_budgets.end();) {
        Budget& budget = entry->second;
        budget.Earn(now);
        const bool idle = budget.spent == 0 && budget.unread == 0;
        entry = idle ? m_budgets.erase(entry) : std::next(entry);
    }
    m_mostBeforeSweep = std::max(kFewClients, 2 * m_budgets.size());
}

}  // namespace collector
