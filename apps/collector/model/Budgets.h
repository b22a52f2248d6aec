#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

#include "collector/model/Millis.h"

namespace collector {

/// How many bytes of each client are read: 128 KiB for each second, saved up to 5 MiB, which is more than a
/// broadcaster sends at once after an outage.
class Budgets {
public:
    struct Answer {
        bool granted = true;
        std::int64_t unread = 0;  ///< to be told: so many messages were not granted since it was told last
    };

    Answer Take(const std::string& client, std::size_t bytes, Millis now);

    /// How many clients are remembered.
    std::size_t Size() const { return m_budgets.size(); }

private:
    struct Budget {
        std::int64_t spent = 0;  ///< and not earned since
        Millis at = 0;
        std::int64_t unread = 0;
        std::optional<Millis> toldAt;

        void Earn(Millis now);
        std::int64_t TakeUnread(Millis now);
    };

    void ForgetTheIdle(Millis now);

    std::unordered_map<std::string, Budget> m_budgets;
    std::size_t m_mostBeforeSweep = 0;  ///< a sweep says how many may come before the next
};

}  // namespace collector
