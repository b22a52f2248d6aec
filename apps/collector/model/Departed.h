#pragma once

#include <optional>
#include <set>
#include <string>
#include <tuple>

#include "collector/model/Millis.h"

namespace collector {

/// A broadcaster that is dark.
struct Departure {
    bool established = false;  ///< was heard for a keep-alive or longer
    Millis since = 0;
    std::string client;

    friend bool operator<(const Departure& a, const Departure& b) {
        return std::tie(a.established, a.since, a.client) < std::tie(b.established, b.since, b.client);
    }
};

/// In which order dark broadcasters are forgotten to make room for others: first those that were heard for a
/// moment only, as invented names are, then those that have been dark for a day; of both the longest dark
/// first.
class Departed {
public:
    void Add(const Departure& departure) { m_order.insert(departure); }
    void Remove(const Departure& departure) { m_order.erase(departure); }

    /// The client that is to be forgotten next; none as long as nobody may be.
    std::optional<std::string> TakeNext(Millis now);

private:
    std::set<Departure> m_order;
};

}  // namespace collector
